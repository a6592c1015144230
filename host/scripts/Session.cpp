#include "host/scripts/Session.h"

#include "cryptoki/ResultNames.h"
#include "host/plugin/ClientCodes.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "host/scripts/Parameters.h"
#include "host/scripts/Scripts.h"

namespace host {

namespace {

std::string noExecutor(const std::string& module) {
    return "the plug-in gave no executor for the module \"" + printable(module) +
           "\"; check that the file exists, that it is a PKCS#11 module for this kind of machine, and what \"--trace "
           "-\" "
           "says";
}

std::string notReady(const std::string& module, const Failures& failures) {
    const std::string answer = failures.calls.empty() ? "; \"--trace -\" shows what it answered"
                                                      : ": " + failures.calls.back().function + " answered " +
                                                            cryptoki::resultName(failures.calls.back().result);
    return "the module \"" + printable(module) + "\" was loaded but cannot be used: it did not initialise" + answer;
}

} // namespace

ExitStatus ScriptAnswer::status() const {
    if (thrown) {
        return statusOf(*thrown);
    }
    if (!response) {
        return ExitStatus::Failed;
    }
    const ParameterList& answer = response->getResponseParameters();
    const std::string promise = promiseOf(script);
    const ExitStatus status = statusOf(answer);
    const bool isKept = promise.empty() || findOutput(answer, promise) != nullptr;
    return status == ExitStatus::Success && !isKept ? ExitStatus::Failed : status;
}

ParameterList creationParameters(const ModuleChoice& choice) {
    ParameterList parameters;
    parameters.add(plainParameter("DLLNAME", libraryFile(choice.module)));
    if (choice.readerPrefix) {
        parameters.add(plainParameter("readerPrefix", *choice.readerPrefix));
    }
    return parameters;
}

Session::Session(const Plugin& plugin, const ModuleChoice& choice) : m_executor(nullptr, {plugin.freeInstance}) {
    ParameterList parameters = creationParameters(choice);
    const std::optional<Thrown> failed = caught([&] { m_executor = newExecutor(plugin, &parameters); });
    if (failed) {
        throw PluginError("the plug-in threw " + failed->type + " instead of giving an executor: " + failed->message);
    }
    if (!m_executor) {
        throw PluginError(noExecutor(choice.module));
    }
    const std::optional<Thrown> thrown = caught([&] { m_executor->initialize(nullptr, nullptr); });
    if (thrown && !m_executor->validate()) {
        throw PluginError(notReady(choice.module, m_notes.failures()));
    }
    if (thrown) {
        throw PluginError("the plug-in gave an executor that cannot be initialised: " + thrown->message);
    }
}

Session::~Session() {
    // A failure cannot be reported any more, and the executor is freed in any case.
    [[maybe_unused]] const std::optional<Thrown> thrown = caught([&] { m_executor->terminate(); });
}

ScriptAnswer Session::run(const std::string& script, std::optional<ParameterList> parameters) {
    endIfInterrupted();
    ScriptAnswer answer;
    answer.script = script;
    if (script == "removeData") {
        m_notes.countRemovals();
    } else {
        m_notes.clear();
    }
    Operation operation(L"0", kScriptType, toTString(script), std::move(parameters));
    answer.thrown = caught([&] { answer.response.reset(m_executor->execute(&operation)); });
    answer.failures = m_notes.failures();
    return answer;
}

} // namespace host
