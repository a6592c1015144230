#pragma once

#include <string>

// What the pictures are made of. Places and sizes are pixels.

namespace host::view {

/// With two digits behind the point.
[[nodiscard]] std::string number(double value);
/// " name="value"".
[[nodiscard]] std::string attribute(const char* name, double value);
/// The begin of a rectangle, which the caller closes with "/>\n" or with ">…</rect>\n". `more` is further attributes.
[[nodiscard]] std::string rectangle(double x, double y, double width, double height, const std::string& fill,
                                    const std::string& more = "");
/// A text, which is escaped here, that begins at this place.
[[nodiscard]] std::string label(double x, double y, const std::string& text, const std::string& more = "");

} // namespace host::view
