#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/plugin/Answers.h"
#include "host/plugin/ExitStatus.h"
#include "host/plugin/FailureNotes.h"
#include "host/plugin/Output.h"
#include "host/plugin/PluginLibrary.h"
#include "host/scripts/JobStep.h"

namespace host {

/// How a job is run.
struct JobOptions {
    bool stopOnError = false;
    bool spinner = false;
    /// What "newInstance" without a key "parameters" passes; nothing: null.
    std::optional<ParameterList> creationParameters;
};

/// Carries out the steps of a job and answers each at once with one line of JSON.
class Job {
public:
    /// `plugin` and `output` must outlive the job.
    Job(const Plugin& plugin, const Output& output, JobOptions options);
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;
    /// Instances that are still alive are terminated and freed, the last made one first.
    ~Job();

    /// Runs everything that `reader` gives. Returns the status of the first failure. Ends early when nobody takes the
    /// answers any more, which is a failure too. UsageError when `reader` gives nothing at all.
    [[nodiscard]] ExitStatus run(JobReader& reader);

private:
    // NOLINTNEXTLINE(bugprone-exception-escape): the check takes its implicit moves for noexcept
    struct Answer {
        Json line;
        ExitStatus status = ExitStatus::Success;
    };
    using Instances = std::vector<std::pair<std::string, ExecutorPtr>>;

    [[nodiscard]] Answer answer(const RawStep& raw, std::size_t number);
    [[nodiscard]] Answer carryOut(Step& step, std::size_t number);
    void newInstance(Step& step, Answer& answer);
    void freeInstance(const Step& step, Answer& answer);
    void execute(Zel::ClientOperationExecutor& executor, Step& step, Answer& answer);
    void query(Zel::ClientOperationExecutor& executor, Step& step, Answer& answer);
    void explain(Answer& answer, const std::string& script, const ParameterList& parameters) const;
    [[nodiscard]] Instances::iterator find(const std::string& name);
    /// UsageError when a step names an instance that does not exist, or makes one that does.
    void checkInstance(const Step& step);
    void freeLast() noexcept;

    FailureNotes m_notes;
    const Plugin& m_plugin;
    const Output& m_output;
    JobOptions m_options;
    Instances m_instances; ///< in the order in which they were made
};

} // namespace host
