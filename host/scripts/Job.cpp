#include "host/scripts/Job.h"

#include <algorithm>

#include "host/plugin/ClientCodes.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Spinner.h"
#include "host/plugin/Texts.h"
#include "text/Wiped.h"

namespace host {

namespace {

ParameterList* pointer(std::optional<ParameterList>& list) {
    return list ? &*list : nullptr;
}

Json scriptNames(Zel::ClientOperationExecutor& executor) {
    const std::unique_ptr<Zel::Vector<Zel::TString>, Destroy> names(executor.getSupportedScripts());
    if (!names) {
        return nullptr;
    }
    Json list = Json::array();
    for (std::uint32_t i = 0; i < names->size(); ++i) {
        list.push_back(toUtf8(*names->at(i)));
    }
    return list;
}

} // namespace

Job::Job(const Plugin& plugin, const Output& output, JobOptions options)
    : m_plugin(plugin), m_output(output), m_options(std::move(options)) {}

Job::~Job() {
    while (!m_instances.empty()) {
        freeLast();
    }
}

void Job::freeLast() noexcept {
    auto& [name, executor] = m_instances.back();
    std::optional<Thrown> thrown = caught([&, &last = executor] { last->terminate(); });
    if (!thrown) {
        thrown = caught([&, &last = executor] { m_plugin.freeInstance(last.release()); });
    }
    if (thrown) {
        complain(m_output, "while instance \"" + name + "\" was freed: " + thrown->message);
    }
    m_instances.pop_back();
}

ExitStatus Job::run(JobReader& reader) {
    ExitStatus status = ExitStatus::Success;
    std::optional<RawStep> raw;
    std::size_t number = 0;
    for (; (raw = reader.next()); ++number) {
        endIfInterrupted();
        const Answer current = answer(*raw, number);
        raw.reset();
        if (status == ExitStatus::Success) {
            status = current.status;
        }
        if (!m_output.result(jsonLine(current.line))) {
            complain(m_output, "nobody reads the answers any more; the job ends here");
            return status == ExitStatus::Success ? ExitStatus::Failed : status;
        }
        // Texts that are too short for the heap live on the stack.
        wipeUnusedStack();
        if (m_options.stopOnError && current.status != ExitStatus::Success) {
            break;
        }
    }
    if (number == 0 && !reader.isDocument()) {
        throw UsageError("the job is empty; if another program writes it, look whether that one failed");
    }
    return status;
}

Job::Answer Job::answer(const RawStep& raw, std::size_t number) {
    std::string error = raw.error.value_or("");
    if (!raw.error) {
        try {
            Step step = readStep(raw.value, number);
            return carryOut(step, number);
        } catch (const UsageError& usage) {
            error = usage.what();
        }
    }
    return {Json({{"step", number}, {"error", raw.where + ": " + error}}), ExitStatus::Usage};
}

Job::Answer Job::carryOut(Step& step, std::size_t number) {
    const char* key = step.call == Call::NewInstance ? "as" : "on";
    Answer answer;
    answer.line =
        Json({{"step", number}, {"call", step.name}, {key, step.instance ? Json(*step.instance) : Json(nullptr)}});
    checkInstance(step);
    const std::optional<Thrown> thrown = caught([&] {
        if (step.call == Call::NewInstance) {
            newInstance(step, answer);
        } else if (step.call == Call::FreeInstance) {
            freeInstance(step, answer);
        } else {
            query(*find(*step.instance)->second, step, answer);
        }
    });
    if (thrown) {
        answer.line["exception"] = thrownJson(*thrown);
        answer.status = statusOf(*thrown);
    }
    return answer;
}

void Job::newInstance(Step& step, Answer& answer) {
    std::optional<ParameterList>& parameters = step.hasParameters ? step.parameters : m_options.creationParameters;
    ExecutorPtr executor = newExecutor(m_plugin, pointer(parameters));
    answer.line["executor"] = executor != nullptr;
    if (executor) {
        m_instances.emplace_back(*step.instance, std::move(executor));
    } else {
        answer.status = ExitStatus::NoPlugin;
    }
}

void Job::freeInstance(const Step& step, Answer& answer) {
    Zel::ClientOperationExecutor* executor = nullptr;
    if (step.instance) {
        // Removed from the list first, so that the instance is never freed twice.
        const auto instance = find(*step.instance);
        executor = instance->second.release();
        m_instances.erase(instance);
    }
    m_plugin.freeInstance(executor);
    answer.line["ok"] = true;
}

void Job::query(Zel::ClientOperationExecutor& executor, Step& step, Answer& answer) {
    Json& line = answer.line;
    switch (step.call) {
    case Call::Initialize:
        executor.initialize(pointer(step.accessParameters), pointer(step.runtimeParameters));
        line["ok"] = true;
        break;
    case Call::Terminate:
        executor.terminate();
        line["ok"] = true;
        break;
    case Call::Execute:
        execute(executor, step, answer);
        break;
    case Call::GetVersion:
        line["value"] = toUtf8(executor.getVersion());
        break;
    case Call::GetType:
        line["value"] = toUtf8(executor.getType());
        break;
    case Call::GetName:
        line["value"] = toUtf8(executor.getName());
        break;
    case Call::GetDescription:
        line["value"] = toUtf8(executor.getDescription());
        break;
    case Call::GetSupportedScripts:
        line["value"] = scriptNames(executor);
        break;
    case Call::Validate:
        line["value"] = executor.validate();
        break;
    case Call::IsLocal:
        line["value"] = executor.isLocal();
        break;
    case Call::NewInstance:
    case Call::FreeInstance:
        break;
    }
}

void Job::execute(Zel::ClientOperationExecutor& executor, Step& step, Answer& answer) {
    std::optional<Operation> operation;
    if (step.operation) {
        operation.emplace(step.operation->id, step.operation->scriptType, step.operation->script,
                          std::move(step.operation->parameters));
        step.operation.reset();
    }
    ResponsePtr response;
    m_notes.clear();
    {
        const Spinner spinner(operation ? printable(toUtf8(operation->getScript())) : "execute", m_options.spinner,
                              m_output.message);
        response.reset(executor.execute(operation ? &*operation : nullptr));
    }
    answer.line["response"] = responseJson(response.get());
    if (response) {
        answer.status = statusOf(response->getResponseParameters());
        explain(answer, operation ? toUtf8(operation->getScript()) : "execute", response->getResponseParameters());
    } else {
        // A null response is right for a null operation only.
        answer.status = operation ? ExitStatus::Failed : ExitStatus::Success;
    }
}

/// A program finds the code, and what it means beside it; a person finds both on standard error.
void Job::explain(Answer& answer, const std::string& script, const ParameterList& parameters) const {
    if (answer.status == ExitStatus::Success) {
        return;
    }
    const Circumstances circumstances = {.where = "step " + answer.line["step"].dump() + ": ",
                                         .script = printable(script),
                                         .isInJob = true,
                                         .failures = m_notes.failures()};
    if (errorOf(parameters)) {
        answer.line["message"] = failureMessage(circumstances, parameters);
    }
    m_output.message(readableFailure(circumstances, parameters));
}

Job::Instances::iterator Job::find(const std::string& name) {
    return std::find_if(m_instances.begin(), m_instances.end(),
                        [&](const auto& instance) { return instance.first == name; });
}

void Job::checkInstance(const Step& step) {
    if (!step.instance) {
        return;
    }
    const bool exists = find(*step.instance) != m_instances.end();
    const std::string name = "instance \"" + printable(*step.instance) + "\"";
    if (step.call == Call::NewInstance && exists) {
        throw UsageError(name + " exists already; free it first, or give this one another name with \"as\"");
    }
    if (step.call != Call::NewInstance && !exists) {
        throw UsageError("there is no " + name + "; {\"call\":\"newInstance\"} makes one");
    }
}

} // namespace host
