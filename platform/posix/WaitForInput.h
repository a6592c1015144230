#pragma once

#include <csignal>

namespace platform {

/// Waits until `descriptor` can be read, has ended or has failed. Returns false, with errno EINTR, when an interruption
/// came first or another signal that `mask` does not block was handled. `mask` are the signals to block meanwhile, but
/// for those that interruptions are noted from.
[[nodiscard]] bool waitForInput(int descriptor, sigset_t mask) noexcept;

/// The same with the thread's own mask; signals that are no interruption do not end it.
[[nodiscard]] bool waitForInput(int descriptor) noexcept;

/// Whether interruptions are noted from the signal, so that nobody else has to handle it.
[[nodiscard]] bool isNoted(int signal) noexcept;

} // namespace platform
