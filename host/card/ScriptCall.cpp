#include "host/card/ScriptCall.h"

#include "host/plugin/Texts.h"
#include "host/scripts/Parameters.h"

namespace host {

namespace {

constexpr std::size_t kLongestShown = 64;
constexpr const char* kSecret = "(secret)";

/// Long values, such as certificates, are cut for the eye.
std::string shortened(const std::string& text) {
    return text.size() <= kLongestShown ? text
                                        : text.substr(0, kLongestShown) + "... (" + std::to_string(text.size()) + ")";
}

} // namespace

ScriptCall& ScriptCall::add(const Zel::Parameter& parameter, std::string_view id, std::string_view shown) {
    m_parameters.add(parameter);
    m_shown.append(" ").append(id).append("=").append(shown);
    return *this;
}

ScriptCall& ScriptCall::plain(std::string_view id, std::string_view value) {
    return add(plainParameter(id, value), id, printable(value));
}

ScriptCall& ScriptCall::text(std::string_view id, std::string_view value) {
    return add(makeParameter(id, "text", value), id, "text:" + printable(trimmed(value)));
}

ScriptCall& ScriptCall::bytes(std::string_view id, std::string_view value) {
    const std::string digits = toUtf8(toHexadecimal(value));
    return add(makeParameter(id, "hex", digits), id, "hex:" + shortened(digits));
}

ScriptCall& ScriptCall::base64(std::string_view id, std::string_view value) {
    const std::string digits = toUtf8(toBase64(value));
    return add(makeParameter(id, "base64", digits), id, "base64:" + shortened(digits));
}

ScriptCall& ScriptCall::secret(std::string_view id, const WipedBytes& value) {
    return add(makeParameter(id, "text", charactersOf(value)), id, kSecret);
}

ScriptCall& ScriptCall::secretBase64(std::string_view id, const WipedBytes& value) {
    Zel::Parameter parameter(Zel::ParameterEncoding::Base64, toTString(id), Zel::ParameterType::Binary,
                             toBase64(charactersOf(value)));
    return add(parameter, id, kSecret);
}

} // namespace host
