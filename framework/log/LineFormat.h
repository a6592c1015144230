#pragma once

#include <cstdint>

#include "framework/log/LineBuffer.h"
#include "ry/rylog.h"

namespace Ry::log {

/// Adds the wide text (`length` characters) as UTF-8; what is no character becomes U+FFFD.
void appendUtf8(LineBuffer& buffer, const wchar_t* text, std::size_t length) noexcept;

/// Adds one line with its line end: of time (microseconds since 1970, UTC), thread number and message.
///
/// Text: the five parts with blanks between, the level by its name, the dump in brackets; control characters as in C,
/// so that no message can pretend to be two lines or command a terminal.
/// Json: one object; see the header of the library.
void appendLine(LineBuffer& buffer, RylogFormat format, std::int64_t time, std::uint32_t thread,
                const RylogRecord& record) noexcept;

} // namespace Ry::log
