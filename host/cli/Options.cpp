#include "host/cli/Options.h"

#include <sstream>

#include <CLI/CLI.hpp>

#include "host/cli/CardTable.h"
#include "host/cli/Help.h"
#include "host/plugin/Texts.h"
#include "host/scripts/Parameters.h"
#include "host/scripts/Scripts.h"
#include "platform/Process.h"

namespace host {

namespace {

constexpr const char* kStatuses = "Exit status:\n"
                                  "  0  all went well\n"
                                  "  1  an operation failed in another way than those below, or threw\n"
                                  "  2  usage, or a malformed job\n"
                                  "  3  the plug-in could not be loaded, or gave no usable executor\n"
                                  "  4  object or key not found\n"
                                  "  5  PIN wrong\n"
                                  "  6  PIN locked or expired\n"
                                  "  7  token absent, removed or not recognised\n"
                                  "  8  a parameter is missing or bad\n"
                                  "  9  refused for safety before anything was sent to the token\n";

constexpr const char* kJobHelp =
    "A job is one step a line, each carried out and answered at once, or one document [STEP, ...] or\n"
    "{\"steps\":[STEP, ...]}. Steps are objects such as\n"
    "  {\"call\":\"newInstance\",\"parameters\":{\"DLLNAME\":\"libsofthsm2.so\"}}\n"
    "  {\"call\":\"initialize\"}\n"
    "  {\"call\":\"execute\",\"operation\":{\"script\":\"authenticate\",\n"
    "     \"parameters\":{\"AUTH_TYPE\":\"STATIC\",\"PINID\":\"USER\",\"PIN\":{\"env\":\"CARD_PIN\"}}}}\n"
    "Further calls: terminate, freeInstance, getVersion, getType, getName, getDescription,\n"
    "getSupportedScripts, validate, isLocal. \"as\" and \"on\" name instances. \"newInstance\" without\n"
    "\"parameters\" takes --module and --reader-prefix. A failed step does not end the job unless\n"
    "--stop-on-error is given; the exit status is that of the first failure.\n";

std::string kindHelp() {
    std::string text = "Words, 1 and 0 stand plain, as ID=VALUE. Other values say their kind:\n";
    for (const ParameterKind& kind : parameterKinds()) {
        text += std::string("  ID=") + kind.help + "\n";
    }
    return text;
}

void addGlobalOptions(CLI::App& app, Options& options) {
    app.add_option("--plugin", options.plugin, "The plug-in; default: beside the executable or in ../lib")
        ->type_name("FILE");
    app.add_option("--module", options.choice.module, "The PKCS#11 module; default: environment P11HOST_MODULE")
        ->type_name("FILE");
    app.add_option("--reader-prefix", options.choice.readerPrefix, "Prefix that reader names carry")->type_name("TEXT");
    app.add_option("--reader", options.reader, "The reader to work on, as \"readers\" shows it")->type_name("TEXT");
    app.add_option("--trace", options.trace, "Trace as JSON lines into FILE; \"-\": as text on standard error")
        ->type_name("FILE");
    app.add_option("--trace-levels", options.traceLevels,
                   "Sum of 1 failures, 2 calls, 4 values, 8 entries, 16 exits; default: 31")
        ->type_name("MASK");
    app.add_flag("--json", options.json, "Machine-readable output");
    app.add_flag("--stop-on-error", options.stopOnError, "run: end the job after the first failed step");
    app.add_flag("--check", options.check, "run: look for errors in the job and call nothing");
    app.add_flag("--raw", options.raw, "scripts: pass the arguments as they stand, unchecked");
    app.add_flag("--all", options.all, "removeData: everything, for there is no term to choose by");
    app.add_flag("--yes", options.yes, "removeData: remove without asking");
    app.set_version_flag("--version", std::string("p11host ") + P11HOST_VERSION);
}

CLI::App* addCommand(CLI::App& app, const char* name, const char* summary, const std::string& footer) {
    CLI::App* command = app.add_subcommand(name, summary);
    command->footer(footer + "\n\"p11host --help\" explains the options that go with every command.");
    return command;
}

void addCardOption(CLI::App* command, const CardOption& option, CardArguments& card) {
    const std::string name = option.name;
    if (*option.value == '\0') {
        command->add_flag_callback(
            name, [&card, name] { card.options[name]; }, option.help);
        return;
    }
    const auto keep = [&card, name](const std::vector<std::string>& values) { card.options[name] = values; };
    CLI::Option* made = command->add_option_function<std::vector<std::string>>(name, keep, option.help);
    made->type_name(option.value)->allow_extra_args(false);
    if (!option.isRepeatable) {
        made->expected(1);
    }
}

void addCardCommands(CLI::App& app, CardArguments& card) {
    for (const CardCommand& row : cardCommands()) {
        CLI::App* command = addCommand(app, row.name, row.summary, row.notes);
        for (const CardOption& option : row.options) {
            addCardOption(command, option, card);
        }
        for (const CardOperand& operand : row.operands) {
            const auto keep = [&card](const std::string& value) { card.operands.push_back(value); };
            command->add_option_function<std::string>(operand.name, keep, operand.help)->required()->type_name("");
        }
    }
}

void addCommands(CLI::App& app, Options& options) {
    addCardCommands(app, options.card);
    addCommand(app, "info", "what the plug-in and the module say of themselves",
               "Shows version, type, name, description, whether the executor is usable (validate), whether it runs\n"
               "locally, and its scripts. Status 3 when it is not usable.");
    addCommand(app, "scripts", "the scripts and what they do", "Each script is a command; SCRIPT --help explains it.");
    addCommand(app, "run", "carry out a job of many steps", kJobHelp)
        ->add_option("JOB", options.job, "File with the job; \"-\": standard input")
        ->required();
    for (const Script& script : scripts()) {
        addCommand(app, script.name, script.summary, scriptHelp(script, kHelpWidth) + "\n" + kindHelp())
            ->add_option("ARGUMENTS", options.arguments, "Parameters, each as ID=VALUE")
            ->type_name("");
    }
}

std::vector<std::string> commandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(command->get_name());
    }
    return names;
}

/// What is wrong, without the arguments' values, which may be secrets.
std::string usageText(const CLI::App& app, const CLI::ParseError& error) {
    const std::vector<CLI::App*> chosen = app.get_subcommands();
    const std::vector<std::string> extras = app.remaining(true);
    const bool isOption = !extras.empty() && extras.front().substr(0, 2) == "--";
    if (isOption) {
        return "there is no option \"" + extras.front().substr(0, extras.front().find('=')) + "\"";
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

NothingToDo explain(const CLI::App& app, const CLI::ParseError& error) {
    NothingToDo end;
    if (error.get_exit_code() == 0) {
        std::ostringstream text;
        app.exit(error, text, text);
        end.result = text.str();
        return end;
    }
    const std::vector<CLI::App*> chosen = app.get_subcommands();
    const std::string command = chosen.empty() ? "" : " " + chosen.front()->get_name();
    end.status = ExitStatus::Usage;
    end.message = "p11host: " + printable(usageText(app, error)) + ".\n  \"p11host" + command +
                  " --help\" shows what is right.\n";
    return end;
}

void setUp(CLI::App& app, Options& options) {
    app.allow_windows_style_options(false);
    app.fallthrough();
    app.require_subcommand(1);
    app.get_formatter()->column_width(30);
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app.get_formatter()->label("Subcommands", "Commands");
    app.footer(kindHelp() + "\n" + kStatuses + "\n\"p11host COMMAND --help\" explains a command.");
    addGlobalOptions(app, options);
    addCommands(app, options);
}

} // namespace

std::string environmentText(const char* name) {
    const std::optional<WipedBytes> value = platform::environmentVariable(name);
    return value ? std::string(value->begin(), value->end()) : std::string();
}

std::variant<Options, NothingToDo> readOptions(const std::vector<std::string>& arguments) {
    CLI::App app{"Drives a token through the PKCS#11 plug-in: readers, PINs, keys, certificates, signatures.",
                 "p11host"};
    Options options;
    setUp(app, options);
    options.choice.module = environmentText("P11HOST_MODULE");
    std::vector<std::string> reversed(arguments.rbegin(), arguments.rend()); // as the parser takes them
    try {
        app.parse(reversed);
    } catch (const CLI::ParseError& error) {
        return explain(app, error);
    }
    options.command = app.get_subcommands().front()->get_name();
    return options;
}

} // namespace host
