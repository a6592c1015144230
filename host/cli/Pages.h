#pragma once

#include <string>

namespace host {

/// The manual page p11host(1), in the "man" macros.
[[nodiscard]] std::string programPage(const std::string& version);
/// The manual page p11host-job(5).
[[nodiscard]] std::string jobPage(const std::string& version);

/// Completion for the shells: commands, options, and the parameters of scripts with their words and kinds.
[[nodiscard]] std::string bashCompletion();
[[nodiscard]] std::string zshCompletion();
[[nodiscard]] std::string fishCompletion();

} // namespace host
