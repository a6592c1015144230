#include "plugin/Exports.h"
#include "tests/conformance/Harness.h"
#include "tests/conformance/Operation.h"
#include "zel/ClientOperationException.h"

#include <atomic>
#include <exception>
#include <new>
#include <stdexcept>
#include <utility>

namespace Conformance {

namespace {

std::atomic<int> s_alive = 0;

/// Runs `action` and tells which exception left it.
template <class Action>
std::optional<Failure> guarded(Action action) {
    const auto told = [](const char* type, const Zel::LocalizedException& error) {
        return Failure{type, toUtf8(error.getErrorCode()), toUtf8(error.getMessageText())};
    };
    try {
        action();
        return std::nullopt;
    } catch (const Zel::ClientOperationException& error) {
        return told("ClientOperationException", error);
    } catch (const Zel::LocalizedException& error) {
        return told("LocalizedException", error);
    } catch (const std::out_of_range& error) {
        return Failure{"std::out_of_range", "", error.what()};
    } catch (const std::bad_alloc& error) {
        return Failure{"std::bad_alloc", "", error.what()};
    } catch (const std::exception& error) {
        return Failure{"std::exception", "", error.what()};
    }
}

void readResponse(const Zel::ClientOperationResponse& response, Result& result) {
    result.id = toUtf8(response.getId());
    const Zel::Vector<Zel::Parameter>& outputs = response.getResponseParameters();
    for (std::uint32_t i = 0; i < outputs.size(); ++i) {
        const Zel::Parameter& output = *outputs.at(i);
        result.outputs.push_back({toUtf8(output.getId()), static_cast<int>(output.getEncodingEnum()),
                                  static_cast<int>(output.getTypeEnum()), toUtf8(output.getValue())});
    }
}

Result executeOperation(Zel::ClientOperationExecutor& executor, Zel::ClientOperation* operation) {
    Result result;
    result.failure = guarded([&] {
        const std::unique_ptr<Zel::ClientOperationResponse, Destroy> response(executor.execute(operation));
        result.null = response == nullptr;
        if (response != nullptr) {
            readResponse(*response, result);
        }
    });
    return result;
}

Zel::ClientOperationExecutor& need(Zel::ClientOperationExecutor* executor) {
    if (executor == nullptr) {
        throw std::logic_error("the test uses an executor that it does not have");
    }
    return *executor;
}

} // namespace

std::optional<std::string> Result::value(const std::string& outputId) const {
    for (const Output& output : outputs) {
        if (output.id == outputId) {
            return output.value;
        }
    }
    return std::nullopt;
}

Executor::Executor(const Params& creation) {
    const ParameterVector vector = creation.vector();
    m_pExecutor = newInstance(vector.get());
    s_alive += m_pExecutor != nullptr ? 1 : 0;
}

Executor::Executor(Executor&& other) noexcept : m_pExecutor(std::exchange(other.m_pExecutor, nullptr)) {}

Executor& Executor::operator=(Executor&& other) noexcept {
    if (this != &other) {
        free();
        m_pExecutor = std::exchange(other.m_pExecutor, nullptr);
    }
    return *this;
}

Executor::~Executor() {
    free();
}

void Executor::free() {
    if (m_pExecutor != nullptr) {
        freeInstance(std::exchange(m_pExecutor, nullptr));
        --s_alive;
    }
}

std::optional<Failure> Executor::initialize(const Params& access, const Params& runtime) {
    const ParameterVector accessVector = access.vector();
    const ParameterVector runtimeVector = runtime.vector();
    Zel::ClientOperationExecutor& executor = need(m_pExecutor);
    return guarded([&] { executor.initialize(accessVector.get(), runtimeVector.get()); });
}

void Executor::terminate() {
    need(m_pExecutor).terminate();
}

Result Executor::execute(const std::string& script, const Params& params) {
    return execute("1", kScriptType, script, params);
}

Result Executor::execute(const std::string& id, const std::string& scriptType, const std::string& script,
                         const Params& params) {
    Operation operation(id, scriptType, script, params);
    return executeOperation(need(m_pExecutor), &operation);
}

Result Executor::executeNull() {
    return executeOperation(need(m_pExecutor), nullptr);
}

int Executor::alive() {
    return s_alive;
}

} // namespace Conformance
