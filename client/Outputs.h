#pragma once

#include "client/ResultCodes.h"
#include "zel/Parameter.h"
#include "zel/Vector.h"

namespace plugin {

/// The output parameters of one script, appended to a vector that belongs to the caller.
class Outputs {
public:
    explicit Outputs(Zel::Vector<Zel::Parameter>& parameters) : m_parameters(parameters) {}

    /// Appends (2, id, 3, value).
    void push(const wchar_t* id, const Zel::TString& value) {
        push(Zel::Parameter(Zel::ParameterEncoding::Plain, id, Zel::ParameterType::Text, value));
    }
    void push(const Zel::Parameter& parameter) { m_parameters.add(parameter); }
    /// Appends (1, id, 2, Base64 of the bytes).
    void pushBase64(const Zel::TString& id, const std::uint8_t* bytes, std::size_t length);

    /// Appends "ERROR" without a value. The executor calls this before a script runs, so that "ERROR" stands first, and
    /// sets the value afterwards.
    void beginError() { push(L"ERROR", Zel::TString()); }
    void setError(const Result& result) { m_parameters.at(0)->setValue(errorText(result)); }

    /// The index of the next parameter. Pass it to setValue for a value that is known later.
    [[nodiscard]] std::uint32_t nextIndex() const { return m_parameters.size(); }
    void setValue(std::uint32_t index, const Zel::TString& value) { m_parameters.at(index)->setValue(value); }

private:
    Zel::Vector<Zel::Parameter>& m_parameters;
};

} // namespace plugin
