#pragma once

namespace platform {

/// From now on SIGINT, SIGTERM and SIGHUP, and on Windows Ctrl-C, Ctrl-Break, the console's closing, a logoff and a
/// shutdown, are noted in place of ending the process: a script on a token is not to be cut in two. A second one ends
/// the process at once with 128 + its number. A signal that the process was started with as ignored stays ignored.
///
/// The calls of other libraries are not interrupted: the signals are blocked on this thread, and on those that it
/// starts later, and a thread of our own waits for them. Only waiting for input with InputStream or readLineWithoutEcho
/// ends early, and only on the thread that called this function. Call it once, before other threads are started.
void noteInterruptions() noexcept;

/// The signal's number of the first interruption, 0 before it. On Windows 2 (SIGINT) for Ctrl-C and Ctrl-Break, 1
/// (SIGHUP) for the console's closing and 15 (SIGTERM) for a logoff or a shutdown; after these three the system waits
/// for a few seconds, and the process ends there however far it is.
[[nodiscard]] int interruption() noexcept;

/// What a process ends with that a signal has ended.
[[nodiscard]] constexpr int interruptedStatus(int number) noexcept {
    return 128 + number;
}

} // namespace platform
