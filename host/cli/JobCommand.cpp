#include "host/cli/JobCommand.h"

#include "host/plugin/Answers.h"
#include "host/plugin/Errors.h"
#include "host/plugin/PluginLibrary.h"
#include "host/plugin/Texts.h"
#include "host/scripts/Job.h"
#include "host/scripts/JobCheck.h"
#include "platform/Streams.h"

namespace host {

namespace {

platform::InputStream openJob(const Options& options) {
    std::optional<platform::InputStream> input;
    if (options.job != "-") {
        input = platform::InputStream::open(options.job);
    }
    // Under whatever name: a step that reads a secret from descriptor 0 must not get the job.
    if (options.job == "-" || (input && input->isStandardInput())) {
        input = platform::InputStream::takeStandardInput();
    }
    if (!input) {
        throw UsageError("cannot open the job \"" + options.job + "\": " + platform::InputStream::lastError());
    }
    return std::move(*input);
}

JobReader readerOf(platform::InputStream& input) {
    return JobReader([&input](char* target, std::size_t room) {
        const std::optional<std::size_t> count = input.read(target, room);
        endIfInterrupted();
        return count;
    });
}

/// Shows what is wrong with a job, one fault a line.
ExitStatus showFaults(const Options& options, const Output& output, const JobReport& report) {
    Json list = Json::array();
    std::string text;
    for (const JobFault& fault : report.faults) {
        list.push_back(Json({{"step", fault.step}, {"where", fault.where}, {"error", fault.text}}));
        text += printable(fault.where + ": " + fault.text) + "\n";
    }
    if (report.faults.empty()) {
        text = "no errors in " + std::to_string(report.steps) + (report.steps == 1 ? " step\n" : " steps\n");
    }
    const ExitStatus status = report.faults.empty() ? ExitStatus::Success : ExitStatus::Usage;
    const Json line = Json({{"steps", report.steps}, {"faults", std::move(list)}});
    return writeResult(output, options.json ? jsonLine(line) : text, status);
}

/// Answers the malformed steps of a file before the first step is carried out. Returns true when there are any.
bool answerMalformed(const Output& output, const JobReport& report) {
    std::string lines;
    for (const JobFault& fault : report.faults) {
        lines += jsonLine(Json({{"step", fault.step}, {"error", fault.where + ": " + fault.text}}));
    }
    if (report.faults.empty()) {
        return false;
    }
    const JobFault& first = report.faults.front();
    complain(output, "nothing of the job was carried out: " + first.where + ": " + first.text);
    return writeResult(output, lines, ExitStatus::Usage) == ExitStatus::Usage;
}

} // namespace

ExitStatus runJob(const Options& options, const Output& output) {
    if (options.reader) {
        throw UsageError(
            "--reader cannot be used with \"run\"; put a step with \"getPlatformIdentifiers\" into the job");
    }
    platform::InputStream input = openJob(options);
    JobReader reader = readerOf(input);
    if (options.check) {
        return showFaults(options, output, checkJob(reader, JobDepth::Whole));
    }
    // What comes through a pipe is carried out as it comes.
    if (input.rewind()) {
        if (answerMalformed(output, checkJob(reader, JobDepth::Shape))) {
            return ExitStatus::Usage;
        }
        [[maybe_unused]] const bool isBack = input.rewind();
        reader = readerOf(input);
    }
    const PluginLibrary library = PluginLibrary::load(options.plugin);
    JobOptions jobOptions;
    jobOptions.stopOnError = options.stopOnError;
    jobOptions.spinner = showsProgress(options);
    if (!options.choice.module.empty()) {
        jobOptions.creationParameters = creationParameters(options.choice);
    }
    Job job(library.plugin(), output, std::move(jobOptions));
    try {
        return job.run(reader);
    } catch (const Interrupted&) {
        throw Interrupted("; the steps that are answered have been carried out, and nothing more was begun");
    }
}

} // namespace host
