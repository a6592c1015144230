#pragma once

#include <optional>
#include <string>
#include <string_view>

// The encodings once more, slow and plain, for the fast ones to be compared with.

namespace Fuzz {

/// Every maximal part of malformed input becomes one U+FFFD.
[[nodiscard]] std::wstring wideOf(std::string_view utf8);
/// Every lone surrogate (on systems with wider characters: every surrogate) and every value past U+10FFFF becomes
/// U+FFFD.
[[nodiscard]] std::string utf8Of(std::wstring_view wide);

/// Nothing when malformed or empty; blanks may stand between bytes, or groups of four digits.
[[nodiscard]] std::optional<std::string> bytesOfHexadecimal(std::wstring_view text);
[[nodiscard]] std::optional<std::string> bytesOfBase64(std::wstring_view text);
[[nodiscard]] std::wstring hexadecimalOf(std::string_view bytes);
[[nodiscard]] std::wstring base64Of(std::string_view bytes);

/// Up to the first zero character, if there is one.
[[nodiscard]] std::wstring_view untilZero(std::wstring_view text);

} // namespace Fuzz
