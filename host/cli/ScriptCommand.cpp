#include "host/cli/ScriptCommand.h"

#include <algorithm>
#include <array>

#include "host/cli/Readers.h"
#include "host/cli/Removal.h"
#include "host/plugin/Answers.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Spinner.h"
#include "host/plugin/Texts.h"
#include "host/scripts/Check.h"
#include "host/scripts/Scripts.h"
#include "host/scripts/Session.h"
#include "platform/Interruption.h"

namespace host {

namespace {

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

ExitStatus answerInfo(const Options& options, const Output& output, const Session& session) {
    Json values;
    const std::optional<Thrown> thrown = caught([&] { values = identity(session.executor()); });
    if (thrown) {
        output.message(readableFailure("info", *thrown));
        return ExitStatus::Failed;
    }
    return writeResult(output, options.json ? jsonLine(values) : readableIdentity(values), ExitStatus::Success);
}

/// Runs a command that needs an executor, after the reader is chosen.
ExitStatus withSession(const Options& options, const Output& output, std::optional<ParameterList> parameters) {
    if (options.choice.module.empty()) {
        throw UsageError("no PKCS#11 module is named; give --module FILE, or set P11HOST_MODULE");
    }
    const PluginLibrary library = PluginLibrary::load(options.plugin);
    std::optional<ScriptAnswer> answer;
    std::optional<Spinner> spinner(std::in_place, activityOf(options), showsProgress(options), output.message);
    Session session(library.plugin(), options.choice);
    if (options.reader) {
        answer = chooseReader(session, *options.reader, options.choice.readerPrefix.value_or(""));
    }
    const bool isReaderFine = !answer || answer->status() == ExitStatus::Success;
    if (isReaderFine && options.command == "info") {
        spinner.reset();
        return answerInfo(options, output, session);
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

} // namespace

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

ExitStatus showInfo(const Options& options, const Output& output) {
    return withSession(options, output, std::nullopt);
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

} // namespace host
