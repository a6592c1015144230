#pragma once

namespace platform {

/// From now on SIGINT, SIGTERM and SIGHUP, and on Windows Ctrl-C, Ctrl-Break, the console's closing, a logoff and a
/// shutdown, are noted and do not end the process, so that a script on a token runs to its end. A second one ends the
/// process at once with 128 + its number. A signal that was ignored when the process started stays ignored.
///
/// The calls of other libraries are not interrupted: the signals are blocked on this thread, and on those that it
/// starts later, and a thread of our own waits for them. Only waiting for input with InputStream or readLineWithoutEcho
/// ends early, and only on the thread that called this function. Call it once, before other threads are started.
void noteInterruptions() noexcept;

/// The signal number of the first interruption, 0 before it. On Windows 2 (SIGINT) for Ctrl-C and Ctrl-Break, 1
/// (SIGHUP) for the console's closing, and 15 (SIGTERM) for a logoff or a shutdown; after the last three Windows gives
/// the process a few seconds and then ends it.
[[nodiscard]] int interruption() noexcept;

/// The exit status of a process that this signal has ended.
[[nodiscard]] constexpr int interruptedStatus(int number) noexcept {
    return 128 + number;
}

} // namespace platform
