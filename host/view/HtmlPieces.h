#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/view/PageParts.h"

// What the pages are made of. Texts are given as they are, and escaped here.

namespace host::view {

/// A cell of a table, of these classes of the style: "n" for numbers, "bad", "quiet".
[[nodiscard]] std::string cell(const std::string& text, const char* classes = "");
[[nodiscard]] std::string numberCell(const std::string& text);
/// A number with its name at the head of a page.
[[nodiscard]] std::string figure(const char* name, const std::string& value, bool isBad = false);

/// "'sha256-…'", by which a page's policy allows a part of it, a script or a style.
[[nodiscard]] std::string allowed(const PagePart& part);

/// The template with each "@NAME@" replaced by its value, which is put in as it is and not looked at again.
[[nodiscard]] std::string filled(std::string_view page,
                                 const std::vector<std::pair<std::string_view, std::string>>& values);

} // namespace host::view
