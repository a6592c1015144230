#pragma once

#include <functional>
#include <string_view>

#include "host/plugin/ExitStatus.h"

namespace host {

/// Where a command writes. Results are for programs, complete and written at once; messages are for a person.
struct Output {
    std::function<bool(std::string_view)> result; ///< returns false when results cannot be written any more
    std::function<void(std::string_view)> message;
};

/// Standard output as the platform keeps it, and standard error.
[[nodiscard]] Output standardOutput();

/// For a person: "p11host: TEXT", made fit for a terminal; each line of the text is a message of its own.
void complain(const Output& output, std::string_view text);

/// Writes a result and returns `status`. One that cannot be written is said as a message, and turns success into
/// Failed.
[[nodiscard]] ExitStatus writeResult(const Output& output, std::string_view text,
                                     ExitStatus status = ExitStatus::Success);

} // namespace host
