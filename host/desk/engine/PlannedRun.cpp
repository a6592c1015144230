#include "host/desk/engine/PlannedRun.h"

#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "platform/Program.h"
#include "platform/Sleep.h"

namespace host::desk {

namespace {

constexpr std::size_t kMostOutput = std::size_t{1} << 20;
constexpr std::chrono::milliseconds kBetweenTries{500};
constexpr std::size_t kMostQuoted = 200;

/// The last line that a program wrote to standard error.
std::string lastLine(const WipedBytes& errors) {
    std::string_view text(errors.data(), errors.size());
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ')) {
        text.remove_suffix(1);
    }
    const std::string_view line = text.substr(text.rfind('\n') + 1);
    return printable(line.substr(0, kMostQuoted));
}

} // namespace

bool runPlanned(const PlannedCommand& command, const RowValues& row, std::string_view input,
                const std::function<Verdict(platform::CommandResult& result)>& judge) {
    std::vector<std::string> arguments;
    for (const Template& argument : command.arguments) {
        arguments.push_back(argument.expand(row));
    }
    for (int i = 0; i <= command.retries; ++i) {
        if (i != 0) {
            endIfInterrupted();
            platform::sleepFor(kBetweenTries);
        }
        platform::CommandResult result = platform::runCommand(arguments, input, {command.timeout, kMostOutput});
        const Verdict verdict = judge(result);
        if (verdict != Verdict::TryAgain) {
            return verdict == Verdict::Taken;
        }
    }
    return false;
}

void requirePrograms(const Plan& plan) {
    std::string faults;
    const auto look = [&](const std::string& place, const PlannedCommand& command) {
        const std::string program = command.arguments.empty() ? "" : command.arguments.front().expand({});
        if (!program.empty() && !platform::isStartable(program)) {
            faults += (faults.empty() ? "" : "\n") + place + ": the program \"" + printable(program) +
                      "\" is not there, or may not be executed";
        }
    };
    for (const auto& [name, source] : plan.secrets) {
        look("secrets." + printable(name), source.command);
    }
    look("authority", plan.authority);
    if (!faults.empty()) {
        throw UsageError(faults);
    }
}

std::string faultOf(const PlannedCommand& command, const platform::CommandResult& result) {
    const std::string program = "the program \"" + printable(command.arguments.front().expand({})) + "\" ";
    switch (result.end) {
    case platform::CommandResult::End::NotStarted:
        return program + "could not be started: " + printable(result.reason);
    case platform::CommandResult::End::TimedOut:
        return program + "did not end within " + std::to_string(command.timeout.count()) + " s";
    case platform::CommandResult::End::TooMuch:
        return program + "printed more than a megabyte";
    default:
        break;
    }
    if (result.status == 0) {
        return "";
    }
    const std::string how = platform::Program::describeEnd(result.status);
    const std::string line = lastLine(result.errors);
    return program + "ended with " + (how.empty() ? "status " + std::to_string(result.status) : how) +
           (line.empty() ? "" : ": " + line);
}

} // namespace host::desk
