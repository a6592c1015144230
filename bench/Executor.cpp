#include "bench/Executor.h"

#include <stdexcept>

#include "host/plugin/Texts.h"
#include "host/scripts/Parameters.h"

namespace bench {

host::Operation makeOperation(const std::string& script, const std::vector<std::string>& arguments) {
    std::optional<host::ParameterList> parameters;
    if (!arguments.empty()) {
        parameters = host::readArguments(arguments);
    }
    return {L"1", host::kScriptType, host::toTString(script), std::move(parameters)};
}

Executor::Executor(const std::string& moduleFile, const std::string& pin)
    : m_library(host::PluginLibrary::load(BENCH_PLUGIN_FILE)),
      m_executor(nullptr, host::FreeExecutor{m_library.plugin().freeInstance}) {
    host::ParameterList creation;
    creation.add(host::plainParameter("DLLNAME", moduleFile));
    m_executor.reset(m_library.plugin().newInstance(&creation));
    if (m_executor == nullptr) {
        throw std::runtime_error("the plug-in made no executor");
    }
    host::ParameterList access;
    if (!pin.empty()) {
        access.add(host::makeParameter("PIN", "text", pin));
    }
    m_executor->initialize(&access, nullptr);
}

void Executor::chooseReader(const std::string& name) const {
    host::Operation operation = makeOperation("getPlatformIdentifiers", {"READERNAME=text:" + name});
    mustRun(operation);
}

host::ResponsePtr Executor::mustRun(host::Operation& operation) const {
    host::ResponsePtr response(m_executor->execute(&operation));
    const host::ParameterList& outputs = response->getResponseParameters();
    for (std::uint32_t i = 0; i < outputs.size(); ++i) {
        if (outputs.at(i)->getId().compare(L"ERROR") == 0 && outputs.at(i)->getValue().compare(L"0") == 0) {
            return response;
        }
    }
    throw std::runtime_error(host::toUtf8(operation.getScript()) + " failed");
}

} // namespace bench
