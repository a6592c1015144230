#pragma once

#include <cstdarg>
#include <cstdint>

#include "zel/Export.h"

// The trace log. Formats are the Windows wide ones on both systems: `%ws` and `%s` are wide strings; `%d %u %x %X %lu
// %lx %c %%` with flags, width and precision as in printf. A null string prints as "(null)".
//
// Nothing here throws. Lines of concurrent threads never mix.

extern "C" {

/// Names the module whose messages follow (process-wide).
RYLOG_API void rylogSetModuleName(const wchar_t* name) noexcept;

/// Whether a message of `level` (1 failure, 2 call announced, 4 value, 8 entry, 16 exit) goes anywhere at all. Cheap:
/// ask before building an argument that costs.
RYLOG_API bool rylogIsEnabled(std::uint32_t level) noexcept;

RYLOG_API void rylogLog(const wchar_t* module, std::uint32_t level, const wchar_t* wideFormat, ...) noexcept;

/// As rylogLog, with a dump of `length` bytes behind the text. `bytes` may be null when `length` is 0.
RYLOG_API void rylogLogBin(const wchar_t* module, std::uint32_t level, const void* bytes, std::uint32_t length,
                           const wchar_t* wideFormat, ...) noexcept;

/// One message as a receiver sees it. Everything lives only during the call; texts are UTF-8, zero-terminated.
struct RylogRecord {
    const char* module;
    std::uint32_t level;
    const char* text;
    const unsigned char* bytes; ///< null when the message has no dump
    std::uint32_t length;
};

using RylogReceiver = void (*)(void* context, const RylogRecord* record);

enum class RylogFormat : std::uint32_t { Text = 0, Json = 1 };

/// Sends the log to a file (UTF-8 path; "-" is standard error; null or empty: nowhere) from now on, in place of what
/// the environment (RYLOG_FILE, RYLOG_LEVELS, RYLOG_FORMAT) says. Returns false when the file cannot be opened; the
/// log is then silent.
RYLOG_API bool rylogSetUp(const char* file, std::uint32_t levels, RylogFormat format) noexcept;

/// Sends the log to a function instead, for hosts that show it themselves and for tests; a null receiver takes it back.
/// The receiver must not log. Levels outside the mask are not sent.
RYLOG_API void rylogSetReceiver(RylogReceiver receiver, void* context, std::uint32_t levels) noexcept;

} // extern "C"
