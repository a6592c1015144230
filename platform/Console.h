#pragma once

#include <cstddef>
#include <optional>

namespace platform {

/// Whether standard error is a terminal, so that a person may be watching.
[[nodiscard]] bool errorsGoToTerminal() noexcept;

/// Shows `prompt` (UTF-8) on the terminal itself, whatever the standard streams are, and reads one line from it
/// without echo: its UTF-8 bytes without the line end into `line` of `room` bytes, and their number. What does not fit
/// is dropped. Nothing when there is no terminal, when the person ended the input, or when an interruption came first.
/// The terminal's state is put back on every way out, also when a signal ends or stops the program meanwhile. One
/// thread at a time.
[[nodiscard]] std::optional<std::size_t> readLineWithoutEcho(const char* prompt, char* line, std::size_t room) noexcept;

} // namespace platform
