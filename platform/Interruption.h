#pragma once

#include <functional>

namespace platform {

/// Runs `program` and returns what it returns. Meanwhile SIGINT, SIGTERM and SIGHUP, and on Windows Ctrl-C, Ctrl-Break,
/// the console's closing, a logoff and a shutdown, are noted and do not end the process, so that a script on a token
/// runs to its end. A second one ends the process at once with 128 + its number. A signal that was ignored when the
/// process started stays ignored. Call it once, on the first thread, before other threads are started; `program` must
/// not throw.
///
/// On Linux `program` runs on a thread of its own, while the first thread takes the signals: the calls of other
/// libraries are not interrupted, and the programs that they start are born with no signal blocked. Only waiting for
/// input with InputStream or readLineWithoutEcho ends early.
[[nodiscard]] int runNotingInterruptions(const std::function<int()>& program);

/// The signal number of the first interruption, 0 before it. On Windows 2 (SIGINT) for Ctrl-C and Ctrl-Break, 1
/// (SIGHUP) for the console's closing, and 15 (SIGTERM) for a logoff or a shutdown; after the last three Windows gives
/// the process a few seconds and then ends it.
[[nodiscard]] int interruption() noexcept;

/// The exit status of a process that this signal has ended.
[[nodiscard]] constexpr int interruptedStatus(int number) noexcept {
    return 128 + number;
}

} // namespace platform
