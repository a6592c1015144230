#include "host/cli/Commands.h"

#include <algorithm>
#include <array>
#include <tuple>

#include "host/cli/CardTable.h"
#include "host/cli/DeskCommands.h"
#include "host/cli/Options.h"
#include "host/cli/Readers.h"
#include "host/cli/Removal.h"
#include "host/cli/TimelineCommand.h"
#include "host/plugin/Answers.h"
#include "host/plugin/ClientCodes.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Spinner.h"
#include "host/plugin/Texts.h"
#include "host/plugin/WatchedModule.h"
#include "host/scripts/Check.h"
#include "host/scripts/Job.h"
#include "host/scripts/JobCheck.h"
#include "host/scripts/Scripts.h"
#include "host/scripts/Session.h"
#include "platform/Interruption.h"
#include "platform/Streams.h"
#include "ry/rylog.h"
#include "ry/rylogFault.h"
#include "text/Utf8.h"

namespace host {

namespace {

constexpr std::uint32_t kAllLevels = 31;

ExitStatus writeResult(const Output& output, const std::string& text, ExitStatus status) {
    if (output.result(text)) {
        return status;
    }
    complain(output, "cannot write the result to standard output");
    return status == ExitStatus::Success ? ExitStatus::Failed : status;
}

/// What a person reads while the command is under way.
std::string activityOf(const Options& options) {
    constexpr std::string_view kSize = "KEYSIZE=";
    constexpr std::array<std::pair<std::string_view, const char*>, 9> kActivities = {{
        {"generateKeyPair", "generating a key pair on the token"},
        {"init", "initialising the token"},
        {"recycle", "initialising the token"},
        {"initAuthenticator", "setting the PIN"},
        {"changeAuthenticator", "changing the PIN"},
        {"unlockAuthenticator", "unlocking the PIN"},
        {"writeData", "writing to the token"},
        {"removeData", "removing from the token"},
        {"signData", "signing on the token"},
    }};
    const auto* entry = std::find_if(kActivities.begin(), kActivities.end(),
                                     [&](const auto& activity) { return options.command == activity.first; });
    for (const std::string& argument : options.arguments) {
        if (options.command == "generateKeyPair" && argument.substr(0, kSize.size()) == kSize) {
            return "generating a key of " + printable(argument.substr(kSize.size())) + " bits on the token";
        }
    }
    return entry == kActivities.end() ? options.command : entry->second;
}

PluginLibrary loadPlugin(const Options& options) {
    return PluginLibrary::load(options.plugin.empty() ? PluginLibrary::defaultPath() : options.plugin);
}

bool isStrictRemoval(const Options& options, const ScriptAnswer& answer) {
    return answer.script == "removeData" && !options.raw;
}

/// Writes JSON for a program, or text for a person with failures on standard error.
ExitStatus answerScript(const Options& options, const Output& output, const ScriptAnswer& answer) {
    const ExitStatus status = answer.status();
    if (options.json) {
        Json line = answer.thrown
                        ? Json({{"script", answer.script}, {"exception", thrownJson(*answer.thrown)}})
                        : Json({{"script", answer.script}, {"response", responseJson(answer.response.get())}});
        if (isStrictRemoval(options, answer)) {
            line["removed"] = answer.failures.removed;
        }
        if (writeResult(output, jsonLine(line), status) != status) {
            return ExitStatus::Failed;
        }
    }
    if (answer.thrown) {
        output.message(readableFailure(answer.script, *answer.thrown));
        return status;
    }
    const ParameterList none;
    const ParameterList& parameters = answer.response ? answer.response->getResponseParameters() : none;
    if (status != ExitStatus::Success) {
        output.message(readableFailure({.script = answer.script, .failures = answer.failures}, parameters));
    }
    const bool isRemoval = isStrictRemoval(options, answer);
    const std::string text = isRemoval ? removedText(answer.failures) : readableAnswer(parameters);
    const bool hasText = status == ExitStatus::Success || text != (isRemoval ? removedText({}) : readableAnswer(none));
    return options.json || !hasText ? status : writeResult(output, text, status);
}

Json identity(Zel::ClientOperationExecutor& executor) {
    Json names = Json::array();
    const std::unique_ptr<Zel::Vector<Zel::TString>, Destroy> known(executor.getSupportedScripts());
    for (std::uint32_t i = 0; known && i < known->size(); ++i) {
        names.push_back(toUtf8(*known->at(i)));
    }
    return Json({{"version", toUtf8(executor.getVersion())},
                 {"type", toUtf8(executor.getType())},
                 {"name", toUtf8(executor.getName())},
                 {"description", toUtf8(executor.getDescription())},
                 {"validate", executor.validate()},
                 {"isLocal", executor.isLocal()},
                 {"supportedScripts", std::move(names)}});
}

std::string readableIdentity(const Json& values) {
    std::string text;
    for (const auto& entry : values.items()) {
        std::string value;
        if (entry.value().is_array()) {
            value = joined(entry.value().get<std::vector<std::string>>());
        } else if (entry.value().is_boolean()) {
            value = entry.value().get<bool>() ? "yes" : "no";
        } else {
            value = entry.value().get<std::string>();
        }
        // The description has lines of its own.
        for (std::size_t end = 0; (end = value.find('\n')) != std::string::npos;) {
            value.replace(end, 1, "; ");
        }
        text += entry.key() + ": " + std::string(trimmed(printable(value))) + "\n";
    }
    return text;
}

ExitStatus info(const Options& options, const Output& output, const Session& session) {
    Json values;
    const std::optional<Thrown> thrown = caught([&] { values = identity(session.executor()); });
    if (thrown) {
        output.message(readableFailure("info", *thrown));
        return ExitStatus::Failed;
    }
    return writeResult(output, options.json ? jsonLine(values) : readableIdentity(values), ExitStatus::Success);
}

ExitStatus listScripts(const Options& options, const Output& output) {
    Json list = Json::array();
    std::string text;
    for (const Script& script : scripts()) {
        list.push_back(Json({{"name", script.name}, {"description", script.summary}}));
        const std::string name = script.name;
        text += name + std::string(24 - name.size(), ' ') + script.summary + "\n";
    }
    return writeResult(output, options.json ? jsonLine(Json({{"scripts", list}})) : text, ExitStatus::Success);
}

/// Runs a command that needs an executor, after the reader is chosen.
ExitStatus withSession(const Options& options, const Output& output, std::optional<ParameterList> parameters) {
    if (options.choice.module.empty()) {
        throw UsageError("no PKCS#11 module is named; give --module FILE, or set P11HOST_MODULE");
    }
    const PluginLibrary library = loadPlugin(options);
    std::optional<ScriptAnswer> answer;
    std::optional<Spinner> spinner(std::in_place, activityOf(options), showsProgress(options), output.message);
    Session session(library.plugin(), options.choice);
    if (options.reader) {
        answer = chooseReader(session, *options.reader, options.choice.readerPrefix.value_or(""));
    }
    const bool isReaderFine = !answer || answer->status() == ExitStatus::Success;
    if (isReaderFine && options.command == "info") {
        spinner.reset();
        return info(options, output, session);
    }
    // Choosing the reader has answered what this command asks for.
    const bool isAnswered = answer && options.command == answer->script && !parameters;
    if (isReaderFine && !isAnswered && options.command == "removeData" && !options.raw && !options.yes) {
        spinner.reset();
        confirmRemoval(output, *parameters);
        spinner.emplace(activityOf(options), showsProgress(options), output.message);
    }
    if (isReaderFine && !isAnswered) {
        answer = session.run(options.command, std::move(parameters));
    }
    spinner.reset();
    return answerScript(options, output, *answer);
}

ExitStatus runScriptCommand(const Options& options, const Output& output) {
    ParameterList parameters;
    if (options.raw) {
        parameters = readArguments(options.arguments);
    } else {
        refuseBoundlessRemoval(options);
        parameters = readStrictly(*findScript(options.command), options.arguments, options.reader.has_value());
    }
    return withSession(options, output, parameters.isEmpty() ? std::nullopt : std::optional(std::move(parameters)));
}

ExitStatus runScript(const Options& options, const Output& output) {
    const std::string name = "\"" + options.command + "\"";
    ExitStatus status = ExitStatus::Success;
    try {
        status = runScriptCommand(options, output);
    } catch (const Interrupted&) {
        throw Interrupted(" before " + name + " was begun; the token is as it was");
    }
    if (platform::interruption() != 0) {
        throw Interrupted("; " + name + " was under way and has ended as its answer says, and nothing more was begun");
    }
    return status;
}

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
    const PluginLibrary library = loadPlugin(options);
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

ExitStatus withoutArguments(const Options& options, const Output& output) {
    return withSession(options, output, std::nullopt);
}

struct Command {
    const char* name;
    ExitStatus (*run)(const Options& options, const Output& output);
};

// Every command that is not listed is a script.
constexpr std::array<Command, 4> kCommands = {{
    {"info", withoutArguments},
    {"scripts", listScripts},
    {"run", runJob},
    {"timeline", runTimeline},
}};

constexpr const char* kTraceRule = "; it must be a file of your own, no link and no pipe";

void setUpTrace(const Options& options) {
    if (!options.trace) {
        if (rylogFault() == RylogFault::NotOpened) {
            throw UsageError(std::string("cannot write the trace to the file that RYLOG_FILE names") + kTraceRule);
        }
        return;
    }
    const RylogFormat format = *options.trace == "-" ? RylogFormat::Text : RylogFormat::Json;
    if (!rylogSetUp(options.trace->c_str(), options.traceLevels, format)) {
        throw UsageError("cannot write the trace to \"" + *options.trace + "\"" + kTraceRule);
    }
}

/// An incomplete trace turns success into failure.
ExitStatus checkTrace(const Output& output, ExitStatus status) {
    const RylogFault fault = rylogFault();
    if (fault != RylogFault::Incomplete && fault != RylogFault::TakenAway) {
        return status;
    }
    complain(output, fault == RylogFault::Incomplete
                         ? "the trace is incomplete: its file could not be written; is the disk full?"
                         : "the trace is incomplete: the module, or another library in this process, has closed its "
                           "file");
    return status == ExitStatus::Success ? ExitStatus::Failed : status;
}

/// Refuses options of other commands, which would have no effect here.
void refuseStrayOptions(const Options& options) {
    const bool isScript = findScript(options.command) != nullptr;
    const std::array<std::tuple<bool, bool, const char*>, 5> rules = {{
        {options.raw, isScript, "--raw is for scripts"},
        {options.all, options.command == "removeData", "--all is for \"removeData\""},
        {options.yes, options.command == "removeData", "--yes is for \"removeData\""},
        {options.check, options.command == "run", "--check is for \"run\""},
        {options.stopOnError, options.command == "run", "--stop-on-error is for \"run\""},
    }};
    for (const auto& [isGiven, isRight, text] : rules) {
        if (isGiven && !isRight) {
            throw UsageError(text);
        }
    }
}

void prepare(const Options& options) {
    refuseStrayOptions(options);
    if (options.traceLevels > kAllLevels) {
        throw UsageError("--trace-levels is a sum of 1, 2, 4, 8 and 16, 31 at most");
    }
    setUpTrace(options);
    if (options.watch) {
        watchModule(*options.watch);
    }
}

/// Entry and exit of a card command in the trace, around the scripts that it calls.
class TracedCommand {
public:
    explicit TracedCommand(const CardCommand& command) : m_name(text::toWide(command.name)) { log(kEntry); }
    TracedCommand(const TracedCommand&) = delete;
    TracedCommand& operator=(const TracedCommand&) = delete;
    ~TracedCommand() { log(kExit); }

private:
    static constexpr std::uint32_t kEntry = 8;
    static constexpr std::uint32_t kExit = 16;

    void log(std::uint32_t level) const { rylogLog(L"P11HOST", level, L"p11host %ws", m_name.c_str()); }

    std::wstring m_name;
};

ExitStatus runCommand(const Options& options, const Output& output) {
    const CardCommand* card = findCardCommand(options.command);
    try {
        prepare(options);
    } catch (const UsageError& error) {
        if (card != nullptr && options.json) {
            [[maybe_unused]] const bool isWritten = output.result(wrongUsageLine(*card, error.what()));
        }
        throw;
    }
    if (card != nullptr) {
        std::optional<TracedCommand> traced(std::in_place, *card);
        const ExitStatus status = runCardCommand(*card, options, output);
        traced.reset();
        return checkTrace(output, status);
    }
    for (const DeskCommand& desk : deskCommands()) {
        if (desk.row.name == options.command) {
            return checkTrace(output, desk.run(options, output));
        }
    }
    const auto* command = std::find_if(kCommands.begin(), kCommands.end(),
                                       [&](const Command& entry) { return options.command == entry.name; });
    return checkTrace(output, command == kCommands.end() ? runScript(options, output) : command->run(options, output));
}

} // namespace

ExitStatus runProgram(const std::vector<std::string>& arguments, const Output& output) noexcept {
    try {
        const std::variant<Options, NothingToDo> options = readOptions(arguments);
        if (const auto* end = std::get_if<NothingToDo>(&options)) {
            output.message(end->message);
            return end->result.empty() ? end->status : writeResult(output, end->result, end->status);
        }
        const ExitStatus status = runCommand(std::get<Options>(options), output);
        endIfInterrupted();
        return status;
    } catch (const Interrupted& interrupted) {
        complain(output, interrupted.what());
        return ExitStatus::Failed;
    } catch (const UsageError& error) {
        complain(output, error.what());
        return ExitStatus::Usage;
    } catch (const RefusedError& error) {
        complain(output, error.what());
        return ExitStatus::Refused;
    } catch (const PluginError& error) {
        complain(output, error.what());
        return ExitStatus::NoPlugin;
    } catch (const std::exception& error) {
        complain(output, error.what());
        return ExitStatus::Failed;
    } catch (...) {
        // A plug-in may throw anything, although it promises not to.
        complain(output, "the plug-in threw something that is no exception of the standard library");
        return ExitStatus::Failed;
    }
}

} // namespace host
