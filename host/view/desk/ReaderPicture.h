#pragma once

#include <string>

#include "host/desk/journal/DeskRecord.h"

namespace host::view {

/// The cards on a time axis as SVG, a row for each reader of each station. Cards that share a pixel share a bar. Pauses
/// of more than five minutes, in which no reader worked, are cut out. Empty for a desk that has begun no card.
[[nodiscard]] std::string readerPictureOf(const desk::DeskRecord& record);

} // namespace host::view
