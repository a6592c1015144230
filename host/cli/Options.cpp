#include "host/cli/Options.h"

#include <algorithm>

#include <CLI/CLI.hpp>

#include "host/cli/CardTable.h"
#include "host/cli/CommandTable.h"
#include "host/cli/Help.h"
#include "host/plugin/Texts.h"
#include "platform/Console.h"
#include "platform/Process.h"

namespace host {

namespace {

/// What the options mean stands in the table of commands, of which help is made.
void addGlobalOptions(CLI::App& app, Options& options) {
    app.add_option("--plugin", options.plugin);
    app.add_option("--module", options.choice.module);
    app.add_option("--reader-prefix", options.choice.readerPrefix);
    app.add_option("--reader", options.reader);
    app.add_option("--trace", options.trace);
    app.add_option("--trace-levels", options.traceLevels);
    app.add_option("--watch", options.watch);
    app.add_flag("--json", options.json);
    app.add_flag("--stop-on-error", options.stopOnError);
    app.add_flag("--check", options.check);
    app.add_flag("--raw", options.raw);
    app.add_flag("--all", options.all);
    app.add_flag("--yes", options.yes);
    app.set_version_flag("-V,--version", std::string("p11host ") + P11HOST_VERSION);
}

void addCardOption(CLI::App* command, const CardOption& option, CardArguments& card) {
    const std::string name = option.name;
    if (*option.value == '\0') {
        command->add_flag_callback(name, [&card, name] { card.options[name]; });
        return;
    }
    const auto keep = [&card, name](const std::vector<std::string>& values) { card.options[name] = values; };
    CLI::Option* made = command->add_option_function<std::vector<std::string>>(name, keep);
    made->allow_extra_args(false);
    if (!option.isRepeatable) {
        made->expected(1);
    }
}

void addCardArguments(CLI::App* command, const CardCommand& row, CardArguments& card) {
    for (const CardOption& option : row.options) {
        addCardOption(command, option, card);
    }
    for (const CardOperand& operand : row.operands) {
        const auto keep = [&card](const std::string& value) { card.operands.push_back(value); };
        command->add_option_function<std::string>(operand.name, keep)->required();
    }
}

/// What a command of the program's own takes, by the row of the table of commands.
void addArguments(CLI::App* command, const CommandRow& row, CardArguments& card) {
    for (const OptionRow& option : row.options) {
        addCardOption(command, {option.name.c_str(), option.value.c_str(), option.help.c_str(), option.isRepeatable},
                      card);
    }
    for (const OperandRow& operand : row.operands) {
        const auto keep = [&card](const std::string& value) { card.operands.push_back(value); };
        command->add_option_function<std::string>(operand.name, keep)->required();
    }
}

void addCommands(CLI::App& app, Options& options) {
    for (const CommandRow& row : commandTable()) {
        CLI::App* command = app.add_subcommand(row.name);
        if (row.card != nullptr) {
            addCardArguments(command, *row.card, options.card);
        } else if (row.name == "timeline" || row.name == "issue") {
            addArguments(command, row, options.card);
        } else if (row.script != nullptr) {
            command->add_option("ARGUMENTS", options.arguments);
        } else if (row.name == "run") {
            command->add_option("JOB", options.job)->required();
        } else if (row.name == "help") {
            command->add_option("COMMAND", options.topic);
        }
    }
}

std::vector<std::string> commandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(command->get_name());
    }
    return names;
}

/// The options of the program and of the chosen command.
std::vector<std::string> optionNames(const CLI::App& app) {
    std::vector<std::string> names;
    std::vector<const CLI::App*> takers(1, &app);
    for (const CLI::App* chosen : app.get_subcommands()) {
        takers.push_back(chosen);
    }
    for (const CLI::App* taker : takers) {
        for (const CLI::Option* option : taker->get_options()) {
            for (const std::string& name : option->get_lnames()) {
                names.push_back("--" + name);
            }
        }
    }
    return names;
}

/// What is wrong, without the arguments' values, which may be secrets.
std::string usageText(const CLI::App& app, const CLI::ParseError& error) {
    const std::vector<CLI::App*> chosen = app.get_subcommands();
    const std::vector<std::string> extras = app.remaining(true);
    const bool isOption = !extras.empty() && extras.front().substr(0, 2) == "--";
    if (isOption) {
        const std::string option = extras.front().substr(0, extras.front().find('='));
        return "there is no option \"" + option + "\"" + suggestion(option, optionNames(app));
    }
    if (chosen.empty() && !extras.empty()) {
        return "there is no command \"" + extras.front() + "\"" + suggestion(extras.front(), commandNames(app));
    }
    if (chosen.empty() && dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) {
        return "a command is missing, such as \"readers\"";
    }
    if (!extras.empty()) {
        return "\"" + chosen.front()->get_name() + "\" takes no such argument";
    }
    return error.what();
}

NothingToDo explainTopic(const std::string& topic) {
    if (topic.empty()) {
        return {ExitStatus::Success, programHelp(helpWidth()), ""};
    }
    if (const CommandRow* command = findCommand(topic)) {
        return {ExitStatus::Success, commandHelp(*command, helpWidth()), ""};
    }
    std::vector<std::string> names;
    for (const CommandRow& command : commandTable()) {
        names.push_back(command.name);
    }
    return {ExitStatus::Usage, "",
            "p11host: there is no command \"" + printable(topic) + "\"" + suggestion(topic, names) + ".\n"};
}

NothingToDo explain(const CLI::App& app, const CLI::ParseError& error, bool isJson) {
    const std::vector<CLI::App*> chosen = app.get_subcommands();
    const std::string name = chosen.empty() ? "" : chosen.front()->get_name();
    if (dynamic_cast<const CLI::CallForVersion*>(&error) != nullptr) {
        return {ExitStatus::Success, std::string(error.what()) + "\n", ""};
    }
    if (error.get_exit_code() == 0) {
        return explainTopic(name);
    }
    NothingToDo end;
    end.status = ExitStatus::Usage;
    end.message = "p11host: " + printable(usageText(app, error)) + ".\n  \"p11host" + (name.empty() ? "" : " " + name) +
                  " --help\" shows what is right.\n";
    if (const CardCommand* command = isJson ? findCardCommand(name) : nullptr) {
        end.result = wrongUsageLine(*command, usageText(app, error));
    }
    return end;
}

void setUp(CLI::App& app, Options& options) {
    app.allow_windows_style_options(false);
    app.fallthrough();
    app.require_subcommand(1);
    addGlobalOptions(app, options);
    addCommands(app, options);
}

} // namespace

bool showsProgress(const Options& options) {
    return platform::errorsGoToTerminal() && platform::environmentText("TERM") != "dumb" && options.trace != "-";
}

std::variant<Options, NothingToDo> readOptions(const std::vector<std::string>& arguments) {
    if (arguments.empty()) {
        return NothingToDo{ExitStatus::Usage, "",
                           programHelp(helpWidth()) + "\np11host: a command is missing, such as \"readers\".\n"};
    }
    CLI::App app("", "p11host");
    Options options;
    setUp(app, options);
    options.choice.module = platform::environmentText("P11HOST_MODULE");
    std::vector<std::string> reversed(arguments.rbegin(), arguments.rend()); // as the parser takes them
    try {
        app.parse(reversed);
    } catch (const CLI::ParseError& error) {
        return explain(app, error, std::find(arguments.begin(), arguments.end(), "--json") != arguments.end());
    }
    options.command = app.get_subcommands().front()->get_name();
    if (options.command == "help") {
        return explainTopic(options.topic);
    }
    return options;
}

} // namespace host
