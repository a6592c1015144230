#pragma once

#include <cstdarg>
#include <cstdint>

#include "zel/Export.h"

// The trace log. Formats are the Windows wide ones on both systems: `%ws`, `%ls` and `%s` are wide strings, `%hs`
// narrow ASCII; `%d %i %u %x %X %c %p %%` with flags, width, precision and the lengths hh, h, l, ll and z as in printf.
// A null string, or format, prints as "(null)".
//
// A message is one line, written with one call, UTF-8. As text: time, thread, module, level and message with blanks
// between, a dump in brackets, control characters escaped. As JSON:
// {"time":"2026-01-31T12:00:00.123456Z","thread":1,"module":"ZEL-COE-PKCS11","level":8,"text":"…","bytes":"0AFF"}
// where "thread" is a running number of the process's threads and "bytes" is there only with a dump. Lines stand in the
// order of their times; those of concurrent threads never mix.
//
// Without rylogSetUp the environment says at the first message where the log goes: RYLOG_FILE (as `file` below),
// RYLOG_LEVELS (mask, decimal or 0x hexadecimal, 31 when not set or no number) and RYLOG_FORMAT ("json", else text).
// The environment is ignored in a Linux process that has more rights than its user (set-user-ID). Nothing here throws
// or fails: a message that cannot be written, or that memory is too short for, is lost. On Linux, as for any program,
// writing to a pipe that nobody reads raises SIGPIPE.

extern "C" {

/// Sets the module name of messages without one (process-wide; at most 255 bytes of UTF-8). Null: no name.
RYLOG_API void rylogSetModuleName(const wchar_t* name) noexcept;

/// Returns true when the file or the receiver takes messages of `level` (1 failure, 2 call announced, 4 value, 8 entry,
/// 16 exit). Cheap: ask before building an argument that costs.
RYLOG_API bool rylogIsEnabled(std::uint32_t level) noexcept;

/// Writes one message of one level. A null `module` means the process's module name.
RYLOG_API void rylogLog(const wchar_t* module, std::uint32_t level, const wchar_t* wideFormat, ...) noexcept;

/// As rylogLog, with a dump of `length` bytes after the text. Null `bytes`: a dump of no bytes.
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
/// the environment (RYLOG_FILE, RYLOG_LEVELS, RYLOG_FORMAT) says. Returns false when the file cannot be opened; the log
/// is then silent. Links, pipes and other users' files are refused; only its owner can read the file afterwards.
RYLOG_API bool rylogSetUp(const char* file, std::uint32_t levels, RylogFormat format) noexcept;

/// Sends messages to a function too, beside the file and in place of an earlier receiver: for hosts that watch the
/// calls, and for tests. The receiver has a mask of levels of its own; the file and its levels stay as they are. A null
/// receiver ends this; once rylogSetReceiver has returned, the earlier receiver is not called any more. The receiver is
/// called on the thread that logs, by one thread at a time, after the line was written to the file. What it logs or
/// throws is dropped. It must not call rylogSetUp, rylogSetReceiver or rylogSetModuleName.
RYLOG_API void rylogSetReceiver(RylogReceiver receiver, void* context, std::uint32_t levels) noexcept;

} // extern "C"
