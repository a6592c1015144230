#pragma once

#include <string>
#include <string_view>

namespace Conformance {

/// Well-formed UTF-8 to wide text (pairs of surrogates where wide characters have 16 bits) and back. The tests' own:
/// they must not lean on the conversions that they test.
[[nodiscard]] std::wstring wideFromUtf8(std::string_view utf8);
[[nodiscard]] std::string utf8FromWide(std::wstring_view wide);

} // namespace Conformance
