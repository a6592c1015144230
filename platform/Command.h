#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "text/Wiped.h"

namespace platform {

/// How a command went that runCommand ran.
struct CommandResult {
    enum class End {
        Ended,      ///< by itself or by a signal, see `status`
        NotStarted, ///< see `reason`
        TimedOut,   ///< it was still running at the limit and has been killed
        TooMuch,    ///< it printed more than was allowed and has been killed
    };

    End end = End::NotStarted;
    int status = 0;     ///< of one that has ended, as Program::wait returns it
    WipedBytes output;  ///< what it printed, as far as it came
    WipedBytes errors;  ///< the last 4096 bytes that it wrote to standard error; they may quote its input
    std::string reason; ///< why it was not started, as text for a person
};

/// What a command may take.
struct CommandLimits {
    std::chrono::milliseconds time;
    std::size_t output; ///< bytes on standard output
};

/// Runs the first of `arguments` (UTF-8; a path, or on Linux a name that is found along PATH), gives it `input` as its
/// standard input, and waits for its end. No shell is involved: whatever an argument holds, it reaches the program as
/// one argument. Windows gives batch files to a shell, so they are not started. Nothing of `input` is copied, and a
/// command that does not read it has not failed.
///
///     const CommandResult answer = runCommand({"openssl", "x509", "-req"}, request, {30s, 1 << 20});
///     if (answer.end == CommandResult::End::Ended && answer.status == 0) …
///
/// The command has no terminal and gets no Ctrl-C. What it has started and left running is killed at its end and at the
/// limits, except on Linux a program that makes itself a session of its own. When this process is killed,
/// Windows kills the command; Linux lets it run on, with its standard streams closed.
///
/// Several threads may call it at once. On Linux it calls ignoreBrokenPipes. Throws std::bad_alloc and
/// std::system_error when memory or threads are short; the command has been killed then.
[[nodiscard]] CommandResult runCommand(const std::vector<std::string>& arguments, std::string_view input,
                                       const CommandLimits& limits);

/// Returns true when runCommand would find this program, and this user may start it.
[[nodiscard]] bool isStartable(const std::string& program);

} // namespace platform
