#pragma once

#include <cstdint>
#include <string_view>

#include "ry/rylog.h"
#include "text/WipedBuffer.h"

namespace Ry::log {

/// A line being built. It is wiped, because a trace may hold values that must not stay in memory.
using LineBuffer = text::WipedBuffer<char, 2048>;

/// One message as it was logged. Its texts end before their first zero, if they have one.
struct Message {
    std::wstring_view module;
    std::uint32_t level;
    std::wstring_view text;
    const unsigned char* bytes; ///< null when the message has no dump
    std::uint32_t length;
};

/// Appends the wide text as UTF-8; malformed characters become U+FFFD.
void appendUtf8(LineBuffer& buffer, std::wstring_view text) noexcept;

/// Appends one line with its line end: the time's text, the thread's number and the message.
///
/// Text: the five parts with blanks between, the level by its name, the dump in brackets; control characters as in C,
/// so that no message can pretend to be two lines or command a terminal.
/// Json: one object; see the header of the library.
void appendLine(LineBuffer& buffer, RylogFormat format, std::string_view time, std::uint32_t thread,
                const Message& message) noexcept;

} // namespace Ry::log
