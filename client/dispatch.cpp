#include <algorithm>
#include <array>
#include <memory>
#include <new>

#include "client/Failure.h"
#include "client/PKCS11Client.h"
#include "client/Script.h"
#include "platform/CurrentDirectory.h"
#include "util/Texts.h"

namespace {

/// Gives framework objects back to the framework's heap.
struct Destroy {
    void operator()(Zel::BaseDLLInterface* object) const { object->destroy(); }
};

using OwnedParameters = std::unique_ptr<Zel::Vector<Zel::Parameter>, Destroy>;
using OwnedResponse = std::unique_ptr<Zel::ClientOperationResponse, Destroy>;

/// The officer's PINs that an operation brought go with it, however it ends.
class OperationScope {
public:
    explicit OperationScope(AccessValues& access) : m_access(access) {}
    OperationScope(const OperationScope&) = delete;
    OperationScope& operator=(const OperationScope&) = delete;
    OperationScope(OperationScope&&) = delete;
    OperationScope& operator=(OperationScope&&) = delete;
    ~OperationScope() { m_access.endOperation(); }

private:
    AccessValues& m_access;
};

void traceOutputs(const Trace& trace, const Zel::Vector<Zel::Parameter>& outputs) {
    for (std::uint32_t i = 0; i < outputs.size(); ++i) {
        trace.write(TraceLevel::Value, L"Operation parameter %d, %ws = %ws", i, outputs.at(i)->getId(),
                    outputs.at(i)->getValue());
    }
}

} // namespace

void traceOperationParameters(const Trace& trace, const Zel::Vector<Zel::Parameter>& params) {
    if (!Trace::isEnabled(TraceLevel::Value)) {
        return;
    }
    for (std::uint32_t i = 0; i < params.size(); ++i) {
        trace.write(TraceLevel::Value, L": --> Operation parameter %d, %ws", i, params.at(i)->getId());
    }
}

Zel::ClientOperationResponse* PKCS11Client::execute(Zel::ClientOperation* operation) {
    const Trace trace(L"execute");
    trace.enter();
    if (!m_isReady) {
        trace.failure(L": Plugin not validated");
        throwFailure(L"Plugin not validated");
    }
    if (operation == nullptr) {
        return nullptr;
    }
    try {
        traceOperation(trace, *operation);
        OwnedResponse response(new Zel::ClientOperationResponse());
        response->setId(operation->getId());
        const OwnedParameters params(operation->getParameters());
        Zel::Vector<Zel::Parameter> outputs;
        runOperation(trace, *operation, params.get(), outputs);
        response->setResponseParameters(outputs);
        traceOutputs(trace, outputs);
        trace.leave();
        return response.release();
    } catch (const std::bad_alloc&) {
        throwOutOfMemory();
    }
}

void PKCS11Client::traceOperation(const Trace& trace, const Zel::ClientOperation& operation) const {
    if (!Trace::isEnabled(TraceLevel::Value)) {
        return;
    }
    std::array<wchar_t, 512> directory{};
    platform::currentDirectory(directory.data(), directory.size());
    trace.write(TraceLevel::Value, L": --> Current Directory = %ws", directory.data());
    trace.write(TraceLevel::Value, L": --> Input Param operation.id = %ws", operation.getId());
    trace.write(TraceLevel::Value, L": --> Input Param operation.scriptType = %ws", operation.getScriptType());
    trace.write(TraceLevel::Value, L": --> Input Param operation.script = %ws", operation.getScript());
}

void PKCS11Client::runOperation(const Trace& trace, const Zel::ClientOperation& operation,
                                const Zel::Vector<Zel::Parameter>* params, Zel::Vector<Zel::Parameter>& outputs) {
    const OperationScope scope(m_access);
    if (params != nullptr) {
        traceOperationParameters(trace, *params);
        m_access.readForOperation(params);
    }
    const Zel::TString scriptType = operation.getScriptType();
    if (scriptType.compareIgnoreCase(kScriptType) != 0) {
        trace.failure(L":Unknown Operation Script type: %ws required and not %ws!", kScriptType, scriptType);
        return;
    }
    bool isOutOfMemory = false;
    try {
        if (!runScript(operation.getScript(), params, outputs)) {
            trace.failure(L":Unknown Operation Script!");
        }
    } catch (const std::bad_alloc&) {
        isOutOfMemory = true;
    }
    // The script ended where it stood; to the host it is a failure like a token's. Told behind the handler, for it may
    // fail once more: the little room that the runtime keeps for exceptions does not survive many within others.
    if (isOutOfMemory) {
        outputs.clear();
        Outputs(outputs).push(L"ERROR", clientErrorCode(CKR_HOST_MEMORY));
    }
}

bool PKCS11Client::runScript(const Zel::TString& name, const Zel::Vector<Zel::Parameter>* params,
                             Zel::Vector<Zel::Parameter>& outputs) {
    const auto table = scriptTable();
    const auto entry =
        std::find_if(table.begin(), table.end(), [&name](const ScriptEntry& e) { return equals(name, e.name); });
    if (entry == table.end()) {
        return false;
    }
    Script script{m_slots, m_session, m_access, params, Outputs(outputs)};
    traced(entry->method, [&](const Trace& trace) {
        script.outputs.beginError();
        script.outputs.setError(entry->run(script, trace));
    });
    return true;
}

Zel::Vector<Zel::TString>* PKCS11Client::getSupportedScripts() {
    return traced(L"getSupportedScripts", [](const Trace& trace) -> Zel::Vector<Zel::TString>* {
        try {
            std::unique_ptr<Zel::Vector<Zel::TString>, Destroy> scripts(new Zel::Vector<Zel::TString>());
            for (const ScriptEntry& entry : scriptTable()) {
                scripts->add(entry.name.data());
            }
            trace.write(TraceLevel::Value, L"<-- Output Param scripts %d items", scripts->size());
            return scripts.release();
        } catch (const std::exception&) {
            return nullptr;
        }
    });
}
