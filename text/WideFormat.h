#pragma once

#include <algorithm>
#include <cstdarg>
#include <cstddef>

#include "text/WipedBuffer.h"

namespace text {

/// The one formatter behind TString and the log: Windows wide formats, the same on every system and in every locale.
///
/// Writes at most `room` characters to `target`, without a terminator, and returns the length of the whole text, so
/// that a caller whose room was too small can ask again. `target` may be null when `room` is 0. `target` must not be
/// read by an argument.
///
/// Conversions: %d %i %u %x %X (lengths hh, h, l, ll, z), %c, %s (%ls and %ws are the same: wide text; %hs and %S are
/// narrow text, of which only ASCII is shown, anything else as '?'), %p (16 upper-case digits) and %%; with the flags -
/// + 0 # and blank, width and precision, also as *. Widths and precisions of numbers are limited to 4096. A null text
/// is "(null)". An unknown conversion is written unchanged and takes no argument. `long` is the system's: 32 bits on
/// Windows, 64 on Linux.
std::size_t formatWide(wchar_t* target, std::size_t room, const wchar_t* format, va_list arguments) noexcept;

/// The same into an empty buffer; when memory is short, the buffer has failed afterwards.
template <std::size_t kInlineRoom>
void formatWide(WipedBuffer<wchar_t, kInlineRoom>& buffer, const wchar_t* format, va_list arguments) noexcept {
    wchar_t* target = buffer.reserve(kInlineRoom);
    const std::size_t length = formatWide(target, kInlineRoom, format, arguments);
    buffer.commit(target + std::min(length, kInlineRoom));
    if (length <= kInlineRoom) {
        return;
    }
    buffer.clear();
    target = buffer.reserve(length);
    if (target != nullptr) {
        buffer.commit(target + formatWide(target, length, format, arguments));
    }
}

} // namespace text
