#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "host/plugin/ParameterList.h"
#include "zel/ClientOperation.h"
#include "zel/ClientOperationResponse.h"

namespace host {

/// An operation for a plug-in. Its parameters stay here; each getParameters makes a copy for the plug-in.
class Operation final : public Zel::BaseDLLObjectImpl<Zel::ClientOperation> {
public:
    Operation(const Zel::TString& id, const Zel::TString& scriptType, const Zel::TString& script,
              std::optional<ParameterList> parameters);

    void* deletingDestructor(unsigned int flags) override;

    [[nodiscard]] Zel::TString getId() const override { return m_tsId; }
    [[nodiscard]] Zel::TString getScriptType() const override { return m_tsScriptType; }
    [[nodiscard]] Zel::TString getScript() const override { return m_tsScript; }
    [[nodiscard]] ParameterList* getParameters() const override;

private:
    Zel::TString m_tsId;
    Zel::TString m_tsScriptType;
    Zel::TString m_tsScript;
    std::optional<ParameterList> m_parameters;
};

/// The script type that the plug-in's scripts belong to.
inline constexpr const wchar_t* kScriptType = L"client.p11.Larkspur";

/// Releases an object that a plug-in has returned.
struct Destroy {
    void operator()(Zel::BaseDLLInterface* object) const { object->destroy(); }
};
using ResponsePtr = std::unique_ptr<Zel::ClientOperationResponse, Destroy>;

/// An exception that came out of a plug-in.
struct Thrown {
    std::string type;                ///< "ClientOperationException", "std::out_of_range"
    std::optional<std::string> code; ///< hexadecimal text; only the framework's exceptions have one
    std::string message;
};

/// Describes the exception that is being handled.
[[nodiscard]] Thrown describeException();

/// Runs `call`. Returns the exception that it threw; nullopt when it returned.
template <class Call>
[[nodiscard]] std::optional<Thrown> caught(Call&& call) {
    try {
        std::forward<Call>(call)();
        return std::nullopt;
    } catch (...) {
        return describeException();
    }
}

} // namespace host
