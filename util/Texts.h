#pragma once

#include <cstddef>
#include <string_view>

#include "zel/TString.h"

namespace plugin {

/// Returns true when the text is exactly this name. Scripts compare each parameter with every name that they know; most
/// comparisons end at the length, which costs nothing.
[[nodiscard]] inline bool equals(const Zel::TString& text, std::wstring_view name) noexcept {
    return std::wstring_view(text.data(), text.length()) == name;
}

/// The same for a literal, whose length is known without counting.
template <std::size_t Size>
[[nodiscard]] bool equals(const Zel::TString& text, const wchar_t (&literal)[Size]) noexcept {
    return equals(text, std::wstring_view(literal, Size - 1));
}

} // namespace plugin
