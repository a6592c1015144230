#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "platform/Streams.h"

namespace platform {

/// Another program that runs for this one. Its input is the null device, its messages go to our standard error, and
/// what it prints is read here. No shell is involved. The object waits for the program's end, and ends it hard when we
/// are interrupted.
///
///     std::optional<Program> program = Program::start({"/usr/bin/pass", "card/pin"});
///     ... program->output().read(...) until 0 ...
///     const int status = program->wait();
class Program {
public:
    /// Starts the first of `arguments` (UTF-8), a path or on Linux a name that is found along PATH. Nothing on failure,
    /// see lastError.
    [[nodiscard]] static std::optional<Program> start(const std::vector<std::string>& arguments);

    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    Program(Program&& other) noexcept;
    Program& operator=(Program&&) = delete;
    ~Program();

    [[nodiscard]] InputStream& output() noexcept { return m_output; }
    /// Waits for the end. Returns false when `limit` has passed, and after an interruption.
    [[nodiscard]] bool waitFor(std::chrono::milliseconds limit) const noexcept;
    /// Ends the program hard. `wait` returns how it ended.
    void end() noexcept;
    /// Waits for the end and returns the exit status; 128 + the number of the signal that ended it.
    [[nodiscard]] int wait() noexcept;

    /// How the status that `wait` returns came about when the program did not end by itself: "signal 11, Segmentation
    /// fault", "exception 0xC0000005, access violation". Empty for an ordinary exit status.
    [[nodiscard]] static std::string describeEnd(int status);

    /// What the system says about this thread's last failed start, as text for a person.
    [[nodiscard]] static std::string lastError();

private:
    Program(void* process, InputStream output) noexcept : m_process(process), m_output(std::move(output)) {}

    void* m_process; ///< the system's number or handle; null when it has been waited for
    InputStream m_output;
};

} // namespace platform
