#include "host/plugin/Calls.h"

#include <cstdlib>
#include <cxxabi.h>
#include <typeinfo>

#include "host/plugin/Texts.h"
#include "zel/ClientOperationException.h"

namespace host {

namespace {

std::string className(const std::type_info& type) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                           &std::free);
    return name ? name.get() : type.name();
}

Thrown describe(const char* type, const Zel::LocalizedException& exception) {
    return {type, toUtf8(exception.getErrorCode()), toUtf8(exception.getMessageText())};
}

} // namespace

Operation::Operation(const Zel::TString& id, const Zel::TString& scriptType, const Zel::TString& script,
                     std::optional<ParameterList> parameters)
    : m_tsId(id), m_tsScriptType(scriptType), m_tsScript(script), m_parameters(std::move(parameters)) {}

void* Operation::deletingDestructor(unsigned int flags) {
    return runDestructor(this, flags);
}

ParameterList* Operation::getParameters() const {
    return m_parameters ? new ParameterList(*m_parameters) : nullptr;
}

Thrown describeException() {
    try {
        throw;
    } catch (const Zel::ClientOperationException& exception) {
        return describe("ClientOperationException", exception);
    } catch (const Zel::LocalizedException& exception) {
        return describe("LocalizedException", exception);
    } catch (const std::exception& exception) {
        return {className(typeid(exception)), std::nullopt, exception.what()};
    } catch (...) {
        return {"unknown", std::nullopt, "something that is no exception of the standard library was thrown"};
    }
}

} // namespace host
