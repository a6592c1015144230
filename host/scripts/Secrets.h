#pragma once

#include <string>
#include <string_view>

#include "text/Wiped.h"

namespace host {

/// Bytes of the file with this UTF-8 name. UsageError when it cannot be read or is larger than 64 MiB.
[[nodiscard]] WipedBytes readFile(const std::string& path);

/// A secret as its UTF-8 bytes, from where it is kept. UsageError when it is missing, empty, or longer than
/// 64 KiB.
///
/// Environment: the variable's value, which is overwritten and removed there; asked for again, it is the same as
/// before. Prompt: a line that a person types at the terminal without echo, after `question` was shown there. File: the
/// first line without its line end. Descriptor: everything up to the end, without one line end there; descriptors 1 and
/// 2 are outputs and refused. Private file: as File, but refused when its group or others have any right to it (not
/// checked on Windows). Command: the first line that a program prints; it is started by its path without a shell and
/// without arguments, and has to end with status 0.
[[nodiscard]] WipedBytes secretFromEnvironment(const std::string& name);
[[nodiscard]] WipedBytes secretFromPrompt(const std::string& question);
[[nodiscard]] WipedBytes secretFromFile(const std::string& path);
[[nodiscard]] WipedBytes secretFromDescriptor(std::string_view number);
[[nodiscard]] WipedBytes secretFromPrivateFile(const std::string& path);
[[nodiscard]] WipedBytes secretFromCommand(const std::string& program);

} // namespace host
