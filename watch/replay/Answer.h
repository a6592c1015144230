#pragma once

#include "watch/calls/Binding.h"
#include "watch/record/RecordReader.h"
#include "watch/replay/Matching.h"

namespace watch {

/// Fills the outputs of a call as the record says. Returns the recorded result, or CKR_BUFFER_TOO_SMALL where the
/// program's buffer is smaller than the recorded one.
[[nodiscard]] CK_RV answer(const Function& function, const RecordedLine& line, Words words, HandleMaps& handles);

/// Fills one attribute of a template. Returns CKR_OK, or what a token answers for an attribute that it lacks, or for
/// which the buffer is too small.
[[nodiscard]] CK_RV fillAttribute(CK_ATTRIBUTE& attribute, const Json& recorded);

} // namespace watch
