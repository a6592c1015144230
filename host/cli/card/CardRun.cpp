#include "host/cli/card/CardRun.h"

#include <algorithm>
#include <fstream>

#include "host/cli/OutFile.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Paths.h"
#include "host/plugin/Texts.h"
#include "platform/Process.h"

namespace host {

namespace {

std::optional<std::string> given(const std::string& text) {
    return text.empty() ? std::nullopt : std::optional(text);
}

/// The command line decides; without any choice on it the environment does.
TokenChoice choiceOf(const Options& options) {
    const CardArguments& arguments = options.card;
    TokenChoice choice{options.reader, arguments.value("--token"), arguments.value("--serial"), std::nullopt};
    std::optional<std::string> uri = arguments.value("--uri");
    if (!choice.reader && !choice.token && !choice.serial && !uri) {
        choice.reader = given(platform::environmentText("P11HOST_READER"));
        choice.token = given(platform::environmentText("P11HOST_TOKEN"));
        uri = given(platform::environmentText("P11HOST_URI"));
    }
    if (uri) {
        choice.uri = readUri(*uri);
    }
    return choice;
}

/// A command without the option never spends it, whatever a person answers.
LastTry lastTryOf(const CardCommand& command, const CardArguments& arguments) {
    const bool hasOption = std::any_of(command.options.begin(), command.options.end(), [](const CardOption& option) {
        return std::string_view(option.name) == "--last-try";
    });
    if (!hasOption) {
        return LastTry::Stop;
    }
    const std::string word = arguments.value("--last-try").value_or("ask");
    if (word != "stop" && word != "ask" && word != "go") {
        throw UsageError("--last-try takes stop, ask or go");
    }
    return word == "stop" ? LastTry::Stop : (word == "go" ? LastTry::Go : LastTry::Ask);
}

std::string moduleOf(const Options& options, const TokenChoice& choice) {
    if (!options.choice.module.empty()) {
        return options.choice.module;
    }
    if (choice.uri && choice.uri->modulePath) {
        return *choice.uri->modulePath;
    }
    throw UsageError("no PKCS#11 module is named; give --module FILE, or set P11HOST_MODULE");
}

bool takesFile(const CardCommand& command) {
    return std::any_of(command.options.begin(), command.options.end(), [](const CardOption& option) {
        return std::string_view(option.name) == "--out" && std::string_view(option.value) == "FILE";
    });
}

void checkOut(const CardCommand& command, const CardArguments& arguments) {
    const std::optional<std::string> file = arguments.value("--out");
    if (file && takesFile(command)) {
        checkOutFile(*file, arguments.operands);
    }
}

} // namespace

CardRun::CardRun(const CardCommand& command, const Options& options, const Output& output)
    : m_options(options), m_output(output), m_choice(choiceOf(options)),
      m_module(moduleOf(options, m_choice)), m_rules{.isDryRun = options.card.has("--dry-run"),
                                                     .lastTry = lastTryOf(command, options.card),
                                                     .showsProgress = showsProgress(options)},
      m_person(output) {
    checkOut(command, options.card);
}

bool CardRun::isTokenNamed() const {
    return m_options.reader || arguments().has("--token") || arguments().has("--serial") ||
           (arguments().has("--uri") && m_choice.uri && m_choice.uri->namesToken());
}

std::optional<std::string> CardRun::id() const {
    const std::optional<std::string> digits = arguments().value("--id");
    if (!digits) {
        return m_choice.uri ? m_choice.uri->id : std::nullopt;
    }
    std::optional<std::string> bytes = fromHexadecimal(*digits);
    if (!bytes || bytes->empty()) {
        throw UsageError("--id takes pairs of hexadecimal digits, such as 01 or 4B6579, without 0x and blanks");
    }
    return bytes;
}

std::string CardRun::requiredId() const {
    std::optional<std::string> bytes = id();
    if (!bytes || bytes->empty()) {
        throw UsageError("--id HEX is missing; \"p11host objects\" shows the identifiers that are there");
    }
    return *bytes;
}

std::optional<std::string> CardRun::label() const {
    const std::optional<std::string> label = arguments().value("--label");
    return label || !m_choice.uri ? label : m_choice.uri->object;
}

std::optional<std::string> CardRun::uriType() const {
    return m_choice.uri ? m_choice.uri->type : std::nullopt;
}

PinSource CardRun::pinSource(const char* option) const {
    if (const std::optional<std::string> source = arguments().value(option)) {
        return readPinSource(*source);
    }
    const bool isInUri = m_choice.uri && m_choice.uri->pinSource && std::string(option) == "--pin";
    return isInUri ? pinSourceOfUri(*m_choice.uri->pinSource) : PinSource();
}

const ModuleView& CardRun::view() {
    if (!m_view) {
        m_plugin = PluginLibrary::load(m_options.plugin);
        ModuleChoice module = m_options.choice;
        module.module = m_module;
        m_session.emplace(m_plugin->plugin(), module);
        m_view.emplace(m_module);
    }
    return *m_view;
}

std::vector<SlotView> CardRun::slots() {
    return view().slots();
}

Token& CardRun::token(WantedToken wanted) {
    if (!m_token) {
        std::vector<SlotView> all = slots();
        SlotView& chosen = all[chooseToken(all, m_choice, wanted)];
        m_token.emplace(*m_session, *m_view, std::move(chosen), m_options.choice.readerPrefix.value_or(""), m_person,
                        m_rules);
    }
    return *m_token;
}

void CardRun::confirm(const std::string& doing, const std::string& question) {
    if (arguments().has("--yes") || isDryRun()) {
        return;
    }
    const std::optional<bool> answered = m_person.agrees(question);
    if (!answered.value_or(false)) {
        throw CardFailure(ExitStatus::Refused, doing,
                          answered ? "the answer was not yes; nothing was changed"
                                   : "nobody is there to answer; nothing was changed",
                          "Answer yes, or give --yes when nobody can.");
    }
}

void CardRun::deliver(const std::string& bytes) {
    const std::optional<std::string> file = arguments().value("--out");
    if (!file) {
        text += bytes;
        return;
    }
    deliverInto(*file, bytes);
}

void CardRun::deliverInto(const std::string& file, const std::string& bytes) {
    std::ofstream stream(pathOf(file), std::ios::binary);
    stream << bytes << std::flush;
    if (!stream) {
        throw CardFailure(ExitStatus::Failed, "writing the file \"" + printable(file) + "\"", "it cannot be written",
                          "Name a file in a folder of your own with --out.");
    }
}

} // namespace host
