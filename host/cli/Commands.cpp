#include "host/cli/Commands.h"

#include <algorithm>
#include <array>
#include <tuple>

#include "host/cli/CardTable.h"
#include "host/cli/DeskCommands.h"
#include "host/cli/JobCommand.h"
#include "host/cli/Options.h"
#include "host/cli/ScriptCommand.h"
#include "host/cli/TimelineCommand.h"
#include "host/plugin/Errors.h"
#include "host/plugin/WatchedModule.h"
#include "host/scripts/Scripts.h"
#include "ry/rylog.h"
#include "ry/rylogFault.h"
#include "text/Utf8.h"

namespace host {

namespace {

constexpr std::uint32_t kAllLevels = 31;

struct Command {
    const char* name;
    ExitStatus (*run)(const Options& options, const Output& output);
};

// Every command that is not listed is a script.
constexpr std::array<Command, 4> kCommands = {{
    {"info", showInfo},
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