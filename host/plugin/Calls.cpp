#include "host/plugin/Calls.h"

#include <typeinfo>

#include "host/plugin/Texts.h"
#include "platform/TypeName.h"
#include "zel/ClientOperationException.h"

namespace host {

namespace {

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
        return {platform::typeName(typeid(exception)), std::nullopt, exception.what()};
    } catch (...) {
        return {"unknown", std::nullopt, "something that is no exception of the standard library was thrown"};
    }
}

} // namespace host
