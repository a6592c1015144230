#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zel/TString.h"

namespace host {

/// What some programs write at the beginning of UTF-8 text.
inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// The framework's text from UTF-8, and back. Malformed input becomes U+FFFD. No copy of the text stays behind on the
/// way in.
[[nodiscard]] Zel::TString toTString(std::string_view utf8);
[[nodiscard]] std::string toUtf8(const Zel::TString& text);

/// Upper-case hexadecimal text of bytes, two digits each.
[[nodiscard]] Zel::TString toHexadecimal(std::string_view bytes);
/// The same as UTF-8.
[[nodiscard]] std::string hexadecimalText(std::string_view bytes);
/// Base64 text of bytes, without line breaks.
[[nodiscard]] Zel::TString toBase64(std::string_view bytes);

/// Bytes of hexadecimal text (either case, no separators); nothing when it is no such text.
[[nodiscard]] std::optional<std::string> fromHexadecimal(std::string_view digits);

/// Text fit for a terminal and for XML: "?" replaces malformed UTF-8, control characters (a terminal may take them as
/// orders), characters that turn the direction of the text around them, U+FFFE and U+FFFF.
[[nodiscard]] std::string printable(std::string_view utf8);
/// Returns true when UTF-8 text has control characters or ones that turn the direction of the text around them.
[[nodiscard]] bool isObeyedByTerminals(std::string_view utf8);
/// Returns true when `text` has a control character of ASCII.
[[nodiscard]] bool hasControl(std::string_view text) noexcept;
/// The number of characters of UTF-8 text, which is the columns it takes for most scripts.
[[nodiscard]] std::size_t columns(std::string_view utf8) noexcept;
/// The columns that UTF-8 text takes on a terminal, wide and combining characters included.
[[nodiscard]] std::size_t shownWidth(std::string_view utf8) noexcept;
/// `utf8` filled with blanks to this width, or cut to it, with "…" at its end.
[[nodiscard]] std::string fitted(std::string_view utf8, std::size_t width);
/// `text` without blanks at its end.
[[nodiscard]] std::string_view trimmed(std::string_view text) noexcept;

/// Returns true when `word` is in the list.
[[nodiscard]] bool contains(const std::vector<std::string>& list, std::string_view word);
/// The candidate that a misspelt word was most likely meant to be; nothing when none is close.
[[nodiscard]] std::optional<std::string> closest(std::string_view word, const std::vector<std::string>& candidates);
/// Returns true when two words differ in case at most.
[[nodiscard]] bool isSameWord(std::string_view a, std::string_view b);
/// Whether `word` is a begin of `meant` (lower case), or the whole with a slip of the keys: one letter more, less or
/// other, or letters in another order. Case does not count.
[[nodiscard]] bool isSlipOf(std::string_view word, std::string_view meant);
/// "a, b, c".
[[nodiscard]] std::string joined(const std::vector<std::string>& words);
/// " (did you mean "x"?)", or nothing when no candidate is close.
[[nodiscard]] std::string suggestion(std::string_view word, const std::vector<std::string>& candidates);

} // namespace host
