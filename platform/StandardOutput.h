#pragma once

namespace platform {

/// Writes a line of text, as UTF-8 with a line end, to the process's standard output. Goes through the narrow stream,
/// so that a host's own use of it keeps working.
void writeStandardOutput(const wchar_t* text) noexcept;

} // namespace platform
