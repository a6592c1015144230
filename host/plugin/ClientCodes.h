#pragma once

#include <optional>
#include <string_view>

#include "host/plugin/Calls.h"
#include "host/plugin/ExitStatus.h"
#include "host/plugin/ParameterList.h"

namespace host {

/// What one client error code means to a person, and to a shell script.
struct ClientCode {
    unsigned int code;   ///< 0, or 33001 to 33030
    const char* meaning; ///< what happened
    const char* advice;  ///< what can be done about it
    ExitStatus status;
};

/// The code of a slot that is not there.
inline constexpr unsigned int kNoSuchSlot = 33001;

/// The entry of a code; for an unknown code an entry with code 0xFFFFFFFF.
[[nodiscard]] const ClientCode& clientCode(unsigned int code) noexcept;

/// The number that the text of "ERROR" gives (hexadecimal, without prefix); nullopt when it is not such a number.
[[nodiscard]] std::optional<unsigned int> parseClientCode(std::string_view text) noexcept;

/// The first output with this id; null when no output has it.
[[nodiscard]] const Zel::Parameter* findOutput(const ParameterList& answer, std::string_view id);

/// The code in the first "ERROR" of an answer; nullopt when the answer has no "ERROR", or no number in it.
[[nodiscard]] std::optional<unsigned int> errorOf(const ParameterList& answer);

/// The status of an answer: that of its code, Failed without one.
[[nodiscard]] ExitStatus statusOf(const ParameterList& answer);
/// The status of an exception: NoPlugin for an executor that cannot be used, otherwise that of its code, Failed without
/// one.
[[nodiscard]] ExitStatus statusOf(const Thrown& thrown);

} // namespace host
