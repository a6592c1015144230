#pragma once

#include "tests/fuzz/Input.h"
#include "zel/ClientOperation.h"
#include "zel/Parameter.h"
#include "zel/Vector.h"

#include <optional>
#include <string>

// What a host could send, out of the fuzzer's bytes: mostly the words that the plug-in knows, with noise between them.

namespace Fuzz {

using ParameterList = Zel::Vector<Zel::Parameter>;

[[nodiscard]] Zel::TString textFrom(const std::wstring& text);

/// Creation parameters of an executor on the scripted module, now and then of something else.
[[nodiscard]] ParameterList creationFrom(Input& input);
/// Nothing: null is passed.
[[nodiscard]] std::optional<ParameterList> parametersFrom(Input& input);
/// The name of a script, or something like one.
[[nodiscard]] std::wstring scriptFrom(Input& input);
/// Whether operations of this name are carried out.
[[nodiscard]] bool isScript(const std::wstring& name);

/// An operation as a host would make it; lives on the stack.
class Operation final : public Zel::BaseDLLObjectImpl<Zel::ClientOperation> {
public:
    Operation(std::wstring id, std::wstring type, std::wstring script, std::optional<ParameterList> parameters)
        : m_id(std::move(id)), m_type(std::move(type)), m_script(std::move(script)),
          m_parameters(std::move(parameters)) {}
    ~Operation() = default;

    void* deletingDestructor(unsigned int flags) override { return runDestructor(this, flags); }

    [[nodiscard]] Zel::TString getId() const override { return textFrom(m_id); }
    [[nodiscard]] Zel::TString getScriptType() const override { return textFrom(m_type); }
    [[nodiscard]] Zel::TString getScript() const override { return textFrom(m_script); }
    [[nodiscard]] ParameterList* getParameters() const override {
        return m_parameters ? new ParameterList(*m_parameters) : nullptr;
    }

private:
    std::wstring m_id;
    std::wstring m_type;
    std::wstring m_script;
    std::optional<ParameterList> m_parameters;
};

} // namespace Fuzz
