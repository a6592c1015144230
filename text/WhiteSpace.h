#pragma once

namespace text {

/// What the decoders allow between groups.
[[nodiscard]] inline bool isWhiteSpace(wchar_t character) noexcept {
    return character == L' ' || character == L'\t' || character == L'\r' || character == L'\n';
}

} // namespace text
