#pragma once

#include <string>

#include "host/view/Timeline.h"

// What "p11host timeline" gives.

namespace host::view {

/// The whole page: HTML with its style, scripts and data, which needs nothing else and may load nothing.
[[nodiscard]] std::string pageOf(const Timeline& timeline);

/// The picture alone, as SVG. Calls that share a pixel share a bar.
[[nodiscard]] std::string pictureOf(const Timeline& timeline);

/// The tables for a terminal of 60 columns or more.
[[nodiscard]] std::string tablesOf(const Timeline& timeline);

/// The one line that says what the record holds: "794 calls, 98 failed, …".
[[nodiscard]] std::string summaryOf(const Timeline& timeline);

} // namespace host::view
