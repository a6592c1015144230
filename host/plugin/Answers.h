#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "host/plugin/Advice.h"
#include "host/plugin/Calls.h"

namespace host {

/// JSON whose keys stay in the order in which they were set.
using Json = nlohmann::ordered_json;

/// {"id":…,"parameters":[{"id":…,"encoding":…,"type":…,"value":…}…]}, or null.
[[nodiscard]] Json responseJson(const Zel::ClientOperationResponse* response);
/// {"type":…,"code":…,"message":…}; the code is null when the exception has none.
[[nodiscard]] Json thrownJson(const Thrown& thrown);
/// One line with its line end. Nothing in the value can break it: malformed UTF-8 becomes U+FFFD. A line with a
/// character that a terminal obeys, or that turns the text around it, is ASCII, with each other character escaped.
[[nodiscard]] std::string jsonLine(const Json& value);

/// An answer's parameters but for "ERROR", one line each, for a person: hexadecimal text that stands for readable text
/// is shown as that text, states and counts are explained. "done" when there is nothing to show.
[[nodiscard]] std::string readableAnswer(const ParameterList& answer);
/// The readable text that hexadecimal text stands for, without blanks at its end; the hexadecimal text itself when it
/// stands for no readable text.
[[nodiscard]] std::string readableHexadecimal(const std::string& digits);

/// The text that explains a failure and its remedy, for an answer with an "ERROR" other than 0, without "ERROR", or
/// without the output that the script promises.
[[nodiscard]] std::string readableFailure(const Circumstances& circumstances, const ParameterList& answer);
/// The same as one line, without the script's name.
[[nodiscard]] std::string failureMessage(const Circumstances& circumstances, const ParameterList& answer);
/// As readableFailure, for an exception; `what` is what was tried ("signData").
[[nodiscard]] std::string readableFailure(const std::string& what, const Thrown& thrown);

} // namespace host
