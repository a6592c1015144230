#include "host/cli/card/CardRun.h"

#include <algorithm>

#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"

namespace host {

namespace {

/// Writes a result; a failure when nobody takes it.
ExitStatus writeResult(const Output& output, const std::string& text, ExitStatus status) {
    if (output.result(text)) {
        return status;
    }
    complain(output, "cannot write the result to standard output");
    return status == ExitStatus::Success ? ExitStatus::Failed : status;
}

std::vector<std::string> doneSoFar(const CardRun* run) {
    return run != nullptr && run->chosenToken() != nullptr ? run->chosenToken()->done() : std::vector<std::string>();
}

std::string readableFailure(const CardFailure& failure, const std::vector<std::string>& done) {
    const std::string result = failure.result.empty() ? "" : failure.result + ": ";
    const std::string code = failure.code.value_or(0) == 0 ? "" : " (" + std::to_string(*failure.code) + ")";
    std::string text = "p11host: " + failure.doing + " failed: " + result + failure.reason + code + ".\n";
    for (const std::string& step : done) {
        text += "  Done before: " + step + ".\n";
    }
    return text + "  " + failure.remedy + "\n";
}

Json failureJson(const CardCommand& command, const CardFailure& failure, const std::vector<std::string>& done) {
    return {{"command", command.name},
            {"ok", false},
            {"error",
             {{"code", failure.code ? Json(*failure.code) : Json(nullptr)},
              {"result", failure.result.empty() ? Json(nullptr) : Json(failure.result)},
              {"reason", failure.doing + ": " + failure.reason},
              {"remedy", failure.remedy}}},
            {"done", done}};
}

ExitStatus fail(const CardCommand& command, const Options& options, const Output& output, const CardFailure& failure,
                const std::vector<std::string>& done) {
    output.message(readableFailure(failure, done));
    return options.json ? writeResult(output, jsonLine(failureJson(command, failure, done)), failure.status)
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

CardFailure plainFailure(ExitStatus status, const CardCommand& command, const std::exception& error) {
    return CardFailure(status, std::string("p11host ") + command.name, printable(error.what()), "");
}

} // namespace

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
        return fail(command, options, output, failure, doneSoFar(run ? &*run : nullptr));
    } catch (const ModuleError& error) {
        CardFailure failure(ExitStatus::Failed, "asking the module", error.function() + " failed",
                            "Run it again; if it fails again, look into the module's own log.");
        failure.result = error.result();
        return fail(command, options, output, failure, doneSoFar(run ? &*run : nullptr));
    } catch (const Interrupted&) {
        const std::vector<std::string> done = doneSoFar(run ? &*run : nullptr);
        for (const std::string& step : done) {
            output.message("p11host: done before the interruption: " + step + "\n");
        }
        if (done.empty()) {
            throw Interrupted(" before anything was changed; the token is as it was");
        }
        throw;
    } catch (const UsageError& error) {
        if (options.json) {
            const CardFailure failure = plainFailure(ExitStatus::Usage, command, error);
            output.result(jsonLine(failureJson(command, failure, doneSoFar(run ? &*run : nullptr))));
        }
        throw;
    } catch (const PluginError& error) {
        if (options.json) {
            const CardFailure failure = plainFailure(ExitStatus::NoPlugin, command, error);
            output.result(jsonLine(failureJson(command, failure, {})));
        }
        throw;
    }
}

} // namespace host
