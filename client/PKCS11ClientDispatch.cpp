#include <algorithm>
#include <array>
#include <new>

#include "client/Failure.h"
#include "client/PKCS11Client.h"
#include "client/ScriptContext.h"
#include "platform/CurrentDirectory.h"
#include "util/Elements.h"
#include "util/Owned.h"
#include "util/Texts.h"

using namespace plugin;

namespace {

/// Clears the SO PINs that an operation supplied, also when an exception ends it.
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
    std::uint32_t index = 0;
    for (const Zel::Parameter& output : elements(outputs)) {
        trace.write(TraceLevel::Value, L"Operation parameter %d, %ws = %ws", index++, output.getId(),
                    output.getValue());
    }
}

} // namespace

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
        Owned<Zel::ClientOperationResponse> response(new Zel::ClientOperationResponse());
        response->setId(operation->getId());
        const Owned<Zel::Vector<Zel::Parameter>> params(operation->getParameters());
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
    // The host gets a script's lack of memory as an ordinary failure. The answer is made after the handler: memory may
    // fail again there, and the runtime's reserve for nested exceptions is small.
    if (isOutOfMemory) {
        outputs.clear();
        Outputs(outputs).push(L"ERROR", clientErrorCode(CKR_HOST_MEMORY));
    }
}

bool PKCS11Client::runScript(const Zel::TString& name, const Zel::Vector<Zel::Parameter>* params,
                             Zel::Vector<Zel::Parameter>& outputs) {
    const auto entry = std::find_if(m_scripts.begin(), m_scripts.end(),
                                    [&name](const ScriptEntry& candidate) { return equals(name, candidate.name); });
    if (entry == m_scripts.end()) {
        return false;
    }
    ScriptContext script{m_slots, m_session, m_access, params, Outputs(outputs)};
    traced(entry->method, [&](const Trace& trace) {
        script.outputs.beginError();
        script.outputs.setError(entry->run(script, trace));
    });
    return true;
}

Zel::Vector<Zel::TString>* PKCS11Client::getSupportedScripts() {
    return traced(L"getSupportedScripts", [this](const Trace& trace) -> Zel::Vector<Zel::TString>* {
        try {
            Owned<Zel::Vector<Zel::TString>> scripts(new Zel::Vector<Zel::TString>());
            for (const ScriptEntry& entry : m_scripts) {
                scripts->add(entry.name.data());
            }
            trace.write(TraceLevel::Value, L"<-- Output Param scripts %d items", scripts->size());
            return scripts.release();
        } catch (const std::exception&) {
            return nullptr;
        }
    });
}
