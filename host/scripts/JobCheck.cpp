#include "host/scripts/JobCheck.h"

#include <set>

#include "host/plugin/Calls.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "host/scripts/Check.h"
#include "host/scripts/JobStep.h"

namespace host {

namespace {

/// The parameters of the step that is being looked at. Their texts live in the step.
class Collector {
public:
    Zel::Parameter operator()(const StepParameter& parameter) {
        const std::string fault = parameter.written.kind.empty() ? "" : kindFault(parameter.written.kind);
        if (!fault.empty()) {
            throw UsageError(printable(parameter.written.id) + ": " + fault);
        }
        CheckedParameter checked = {parameter.written};
        if (parameter.numbers) {
            checked.encoding = parameter.numbers->first;
        }
        m_parameters.push_back(std::move(checked));
        return plainParameter("", "");
    }

    [[nodiscard]] std::vector<CheckedParameter>& parameters() noexcept { return m_parameters; }

private:
    std::vector<CheckedParameter> m_parameters;
};

/// The state after the steps so far, and their faults.
class Checker {
public:
    explicit Checker(JobDepth depth) : m_depth(depth) {}

    void look(const RawStep& raw) {
        m_where = raw.where;
        if (raw.error) {
            report(*raw.error);
        } else {
            look(raw.value);
        }
        ++m_report.steps;
    }

    [[nodiscard]] JobReport& result() noexcept { return m_report; }

private:
    void look(const JobJson& value) {
        Collector collector;
        try {
            const Step step = readStep(value, m_report.steps, std::ref(collector));
            if (m_depth == JobDepth::Whole) {
                lookAtInstance(step);
                lookAtParameters(step, collector.parameters());
            }
        } catch (const UsageError& error) {
            report(error.what());
        }
    }

    void lookAtInstance(const Step& step) {
        if (!step.instance) {
            return;
        }
        const std::string name = "instance \"" + printable(*step.instance) + "\"";
        if (step.call == Call::NewInstance) {
            if (!m_instances.insert(*step.instance).second) {
                report(name + " exists already");
            }
        } else if (m_instances.count(*step.instance) == 0) {
            report("there is no " + name + " at this step");
            m_instances.insert(*step.instance); // once is enough
        }
        if (step.call == Call::FreeInstance) {
            m_instances.erase(*step.instance);
        }
    }

    void lookAtParameters(const Step& step, std::vector<CheckedParameter>& parameters) {
        if (step.call == Call::NewInstance && step.parameters) {
            lookAt(creation(), parameters, "parameters");
        } else if (step.call == Call::Initialize && step.accessParameters && step.runtimeParameters) {
            lookAtBoth(step, parameters);
        } else if (step.call == Call::Initialize) {
            lookAt(access(), parameters, step.accessParameters ? "accessParameters" : "runtimeParameters");
        } else if (step.call == Call::Execute && step.operation) {
            lookAtOperation(*step.operation, parameters);
        }
    }

    /// An id may stand in both lists: the second one wins.
    void lookAtBoth(const Step& step, std::vector<CheckedParameter>& parameters) {
        const auto middle = parameters.begin() + static_cast<std::ptrdiff_t>(step.accessParameters->size());
        std::vector<CheckedParameter> runtime(std::make_move_iterator(middle),
                                              std::make_move_iterator(parameters.end()));
        parameters.erase(middle, parameters.end());
        lookAt(access(), parameters, "accessParameters");
        lookAt(access(), runtime, "runtimeParameters");
    }

    void lookAtOperation(const OperationStep& operation, std::vector<CheckedParameter>& parameters) {
        const std::string name = toUtf8(operation.script);
        const Script* script = findScript(name);
        if (operation.scriptType.compareIgnoreCase(kScriptType) != 0) {
            report(std::string("operation.scriptType: the plug-in knows \"client.p11.Larkspur\" alone"));
        } else if (script == nullptr) {
            std::vector<std::string> names;
            for (const Script& known : scripts()) {
                names.emplace_back(known.name);
            }
            report("operation.script: there is no script \"" + printable(name) + "\"" + suggestion(name, names));
        } else {
            lookAt(*script, parameters, "operation.parameters");
        }
    }

    void lookAt(const Script& script, std::vector<CheckedParameter>& parameters, const char* place) {
        for (const Fault& fault : check(script, parameters, Place::Job)) {
            report(std::string(place) + ": " + fault.text);
        }
    }

    void report(const std::string& text) { m_report.faults.push_back({m_report.steps, m_where, text}); }

    JobDepth m_depth;
    std::string m_where;
    std::set<std::string> m_instances;
    JobReport m_report;
};

} // namespace

JobReport checkJob(JobReader& reader, JobDepth depth) {
    Checker checker(depth);
    while (std::optional<RawStep> raw = reader.next()) {
        endIfInterrupted();
        checker.look(*raw);
    }
    if (checker.result().steps == 0 && !reader.isDocument()) {
        throw UsageError("the job is empty; if another program writes it, look whether that one failed");
    }
    return std::move(checker.result());
}

} // namespace host
