#pragma once

#include "tests/conformance/Params.h"
#include "zel/ClientOperation.h"

#include <string>
#include <utility>

namespace Conformance {

/// An operation as a host would make it; lives on the stack.
class Operation final : public Zel::BaseDLLObjectImpl<Zel::ClientOperation> {
public:
    Operation(std::string id, std::string scriptType, std::string script, Params params)
        : m_id(std::move(id)), m_scriptType(std::move(scriptType)), m_script(std::move(script)),
          m_params(std::move(params)) {}
    ~Operation() = default;

    void* deletingDestructor(unsigned int flags) override { return runDestructor(this, flags); }

    [[nodiscard]] Zel::TString getId() const override { return toTString(m_id); }
    [[nodiscard]] Zel::TString getScriptType() const override { return toTString(m_scriptType); }
    [[nodiscard]] Zel::TString getScript() const override { return toTString(m_script); }
    [[nodiscard]] Zel::Vector<Zel::Parameter>* getParameters() const override { return m_params.vector().release(); }

private:
    std::string m_id;
    std::string m_scriptType;
    std::string m_script;
    Params m_params;
};

} // namespace Conformance
