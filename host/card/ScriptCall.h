#pragma once

#include <string>
#include <string_view>

#include "host/plugin/ParameterList.h"
#include "text/Wiped.h"

namespace host {

/// A script with its parameters, and how it is shown to a person.
///
///     ScriptCall call("initAuthenticator");
///     call.plain("INIT_KEYID", "SO").secret("INIT_KEY", officerPin).plain("PINID", "USER").secret("PIN", pin);
///     token.run("setting the user PIN", call);
class ScriptCall {
public:
    explicit ScriptCall(std::string script) : m_script(std::move(script)), m_shown(m_script) {}
    // Copied, never moved: the framework's lists cannot be moved.
    ScriptCall(const ScriptCall&) = default;
    ScriptCall& operator=(const ScriptCall&) = default;
    ~ScriptCall() = default;

    /// A value as it stands.
    ScriptCall& plain(std::string_view id, std::string_view value);
    /// Text, passed as the hexadecimal text of its bytes.
    ScriptCall& text(std::string_view id, std::string_view value);
    /// Bytes, passed as hexadecimal text.
    ScriptCall& bytes(std::string_view id, std::string_view value);
    /// Bytes, passed as Base64 text.
    ScriptCall& base64(std::string_view id, std::string_view value);
    /// A PIN. It is shown as "(secret)".
    ScriptCall& secret(std::string_view id, const WipedBytes& value);
    /// A private key: as base64, shown as "(secret)".
    ScriptCall& secretBase64(std::string_view id, const WipedBytes& value);

    [[nodiscard]] const std::string& script() const noexcept { return m_script; }
    /// As a line of the command: `generateKeyPair KEYSIZE=2048 ID=hex:01 PIN=(secret)`.
    [[nodiscard]] const std::string& shown() const noexcept { return m_shown; }
    [[nodiscard]] const ParameterList& parameters() const noexcept { return m_parameters; }

private:
    ScriptCall& add(const Zel::Parameter& parameter, std::string_view id, std::string_view shown);

    std::string m_script;
    std::string m_shown;
    ParameterList m_parameters;
};

} // namespace host
