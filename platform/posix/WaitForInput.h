#pragma once

#include <csignal>

namespace platform {

/// Waits until `descriptor` can be read, has ended or has failed. Returns false, with errno EINTR, after an
/// interruption and after another signal that `mask` does not block. `mask` is the set of signals to block during the
/// wait; interruptions are never blocked.
[[nodiscard]] bool waitForInput(int descriptor, sigset_t mask) noexcept;

/// The same with the thread's own mask; only interruptions end this wait early.
[[nodiscard]] bool waitForInput(int descriptor) noexcept;

/// Returns true when the signal counts as an interruption, so that no other code has to handle it.
[[nodiscard]] bool isNoted(int signal) noexcept;

} // namespace platform
