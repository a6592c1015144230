#pragma once

#include <cstddef>
#include <optional>

namespace platform {

/// Returns true when standard error is a terminal, so that a person may be watching.
[[nodiscard]] bool errorsGoToTerminal() noexcept;

/// How many columns the terminal of standard error has; 0 when standard error is no terminal.
[[nodiscard]] std::size_t terminalColumns() noexcept;

/// Shows `prompt` (UTF-8) on the terminal itself, also when the standard streams are redirected, and reads one line
/// from it without echo. Writes the line's UTF-8 bytes without the line end to `line` and returns their number; bytes
/// beyond `room` are dropped. nullopt when there is no terminal, at the end of input, and after an interruption. The
/// terminal's state is always restored, also when a signal ends or stops the program. One thread at a time.
[[nodiscard]] std::optional<std::size_t> readLineWithoutEcho(const char* prompt, char* line, std::size_t room) noexcept;

/// The same with echo, for an answer that is no secret.
[[nodiscard]] std::optional<std::size_t> readLineWithEcho(const char* prompt, char* line, std::size_t room) noexcept;

} // namespace platform
