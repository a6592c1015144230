#include "host/cli/card/CardRun.h"

#include <algorithm>

#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"

namespace host {

namespace {

/// How far a command has come that has several steps.
struct Progress {
    std::vector<std::string> done;
    std::vector<std::string> open; ///< empty while nothing is done
};

Progress progressOf(const std::optional<CardRun>& run) {
    const Token* token = run ? run->chosenToken() : nullptr;
    const bool hasBegun = token != nullptr && !token->done().empty();
    return hasBegun ? Progress{token->done(), token->open()} : Progress();
}

std::string listed(const char* begin, const std::vector<std::string>& steps) {
    std::string text;
    for (const std::string& step : steps) {
        text.append("  ").append(begin).append(printable(step)).append(".\n");
    }
    return text;
}

std::string readableFailure(const CardFailure& failure, const Progress& progress) {
    const std::string result = failure.result.empty() ? "" : failure.result + ": ";
    const std::string code = failure.code.value_or(0) == 0 ? "" : " (" + std::to_string(*failure.code) + ")";
    return "p11host: " + failure.doing + " failed: " + result + failure.reason + code + ".\n" +
           listed("Done before: ", progress.done) + listed("Not done yet: ", progress.open) + "  " + failure.remedy +
           "\n";
}

Json failureJson(const CardCommand& command, const CardFailure& failure, const Progress& progress) {
    return {{"command", command.name},
            {"ok", false},
            {"error",
             {{"code", failure.code ? Json(*failure.code) : Json(nullptr)},
              {"result", failure.result.empty() ? Json(nullptr) : Json(failure.result)},
              {"reason", failure.doing + ": " + failure.reason},
              {"remedy", failure.remedy}}},
            {"done", progress.done},
            {"notDone", progress.open}};
}

ExitStatus fail(const CardCommand& command, const Options& options, const Output& output, const CardFailure& failure,
                const std::optional<CardRun>& run) {
    const Progress progress = progressOf(run);
    output.message(readableFailure(failure, progress));
    return options.json ? writeResult(output, jsonLine(failureJson(command, failure, progress)), failure.status)
                        : failure.status;
}

/// What a dry run would have called.
void showPlan(CardRun& run) {
    const std::vector<std::string>& planned = run.token().planned();
    run.answer["dryRun"] = planned;
    run.text = "Nothing was changed. These scripts would be called:\n";
    for (const std::string& script : planned) {
        run.text += "  " + script + "\n";
    }
}

ExitStatus succeed(const CardCommand& command, const Output& output, CardRun& run) {
    if (run.isDryRun() && run.chosenToken() != nullptr) {
        showPlan(run);
    }
    if (!run.wantsJson()) {
        return run.text.empty() ? run.status : writeResult(output, run.text, run.status);
    }
    Json line = {{"command", command.name}, {"ok", true}};
    line.update(run.answer);
    return writeResult(output, jsonLine(line), run.status);
}

/// Something that was wrong before the token was asked to do anything.
ExitStatus refuse(const CardCommand& command, const Options& options, const Output& output, const CardFailure& failure,
                  const std::optional<CardRun>& run) {
    complain(output, failure.reason);
    output.message("  " + failure.remedy + "\n");
    return options.json ? writeResult(output, jsonLine(failureJson(command, failure, progressOf(run))), failure.status)
                        : failure.status;
}

CardFailure wrongUsage(const CardCommand& command, const std::string& reason) {
    const std::string name = std::string("p11host ") + command.name;
    return {ExitStatus::Usage, name, reason, "\"" + name + " --help\" shows what is right."};
}

} // namespace

std::string wrongUsageLine(const CardCommand& command, const std::string& reason) {
    return jsonLine(failureJson(command, wrongUsage(command, reason), {}));
}

const CardCommand* findCardCommand(const std::string& name) {
    const std::vector<CardCommand>& all = cardCommands();
    const auto found = std::find_if(all.begin(), all.end(), [&](const CardCommand& c) { return c.name == name; });
    return found == all.end() ? nullptr : &*found;
}

ExitStatus runCardCommand(const CardCommand& command, const Options& options, const Output& output) {
    std::optional<CardRun> run;
    try {
        run.emplace(command, options, output);
        command.run(*run);
        return succeed(command, output, *run);
    } catch (const CardFailure& failure) {
        return fail(command, options, output, failure, run);
    } catch (const ModuleError& error) {
        CardFailure failure(ExitStatus::Failed, "asking the module", error.function() + " failed",
                            "Run it again; if it fails again, look into the module's own log.");
        failure.result = error.result();
        return fail(command, options, output, failure, run);
    } catch (const Interrupted&) {
        const Progress progress = progressOf(run);
        for (const std::string& step : progress.done) {
            output.message("p11host: done before the interruption: " + printable(step) + "\n");
        }
        output.message(listed("Not done yet: ", progress.open));
        if (progress.done.empty()) {
            throw Interrupted(" before anything was changed; the token is as it was");
        }
        throw;
    } catch (const UsageError& error) {
        return refuse(command, options, output, wrongUsage(command, error.what()), run);
    } catch (const PluginError& error) {
        return refuse(command, options, output,
                      {ExitStatus::NoPlugin, std::string("p11host ") + command.name, error.what(),
                       "Name the card vendor's PKCS#11 module with --module, and the plug-in with --plugin where it is "
                       "not beside p11host."},
                      run);
    }
}

} // namespace host
