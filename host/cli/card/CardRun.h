#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/card/Pins.h"
#include "host/card/Token.h"
#include "host/card/TokenChoice.h"
#include "host/cli/CardTable.h"
#include "host/cli/card/TerminalPerson.h"
#include "host/inspect/ModuleView.h"
#include "host/plugin/Answers.h"
#include "host/plugin/PluginLibrary.h"
#include "host/scripts/Session.h"

namespace host {

/// One card command on its way: what was asked for, the executor, the view of the module, the chosen token, and the
/// answer. The executor is made when the first of them is needed; options are checked before.
///
///     void run(CardRun& run) {
///         const std::string id = run.requiredId();
///         Token& token = run.token();
///         token.login(readCurrentPin(run.pinSource("--pin"), PinRole::User, token));
///         ...
///         run.answer["id"] = ...;
///         run.text = "...";
///     }
class CardRun {
public:
    /// `options` and `output` must outlive it. UsageError for options that are wrong whatever the command is, and for a
    /// file of --out that cannot be written or that the command reads: nobody should learn that when a key is made.
    CardRun(const CardCommand& command, const Options& options, const Output& output);
    CardRun(const CardRun&) = delete;
    CardRun& operator=(const CardRun&) = delete;
    ~CardRun() = default;

    Json answer = Json::object();            ///< the command's own keys of the answer with --json
    std::string text;                        ///< the answer for a person; lines end with a line end
    ExitStatus status = ExitStatus::Success; ///< of a command that has an answer

    [[nodiscard]] const CardArguments& arguments() const noexcept { return m_options.card; }
    [[nodiscard]] bool isDryRun() const noexcept { return m_rules.isDryRun; }
    [[nodiscard]] bool wantsJson() const noexcept { return m_options.json; }
    [[nodiscard]] Person& person() noexcept { return m_person; }

    /// The bytes of --id, or of the URI; nothing without them. UsageError for what is no hexadecimal text.
    [[nodiscard]] std::optional<std::string> id() const;
    /// The same; UsageError without it.
    [[nodiscard]] std::string requiredId() const;
    /// The value of --label, or the URI's object.
    [[nodiscard]] std::optional<std::string> label() const;
    /// The URI's "type": "cert", "private" …
    [[nodiscard]] std::optional<std::string> uriType() const;
    /// The source of a PIN by its option; the URI's serves for --pin; a prompt without both.
    [[nodiscard]] PinSource pinSource(const char* option) const;

    /// All readers with their tokens.
    [[nodiscard]] std::vector<SlotView> slots();
    /// The chosen token; chosen at the first call.
    Token& token(WantedToken wanted = WantedToken::Initialised);
    /// As far as a token was chosen.
    [[nodiscard]] const Token* chosenToken() const noexcept { return m_token ? &*m_token : nullptr; }

    /// Goes on when --yes is given, in a dry run, or when the person says yes; otherwise CardFailure (9), nothing sent.
    void confirm(const std::string& doing, const std::string& question);

    /// Puts `bytes` into the file of --out, or into the answer for a person without it.
    void deliver(const std::string& bytes);
    /// Writes a piece of the result at once, before the answer. Returns false when nobody takes it.
    [[nodiscard]] bool print(std::string_view piece) const { return m_output.result(piece); }
    /// The module that was named, UTF-8.
    [[nodiscard]] const std::string& module() const noexcept { return m_module; }
    /// Returns true when the command line itself says which token is meant: not the environment, and not a URI of
    /// something else.
    [[nodiscard]] bool isTokenNamed() const;
    /// The file of --watch.
    [[nodiscard]] const std::optional<std::string>& watch() const noexcept { return m_options.watch; }
    [[nodiscard]] bool drawsProgress() const noexcept { return m_rules.showsProgress; }

    /// Puts `bytes` into a file with this UTF-8 name.
    static void deliverInto(const std::string& file, const std::string& bytes);

private:
    [[nodiscard]] const ModuleView& view();

    const Options& m_options;
    const Output& m_output;
    TokenChoice m_choice;
    std::string m_module;
    CardRules m_rules;
    TerminalPerson m_person;
    std::optional<PluginLibrary> m_plugin;
    std::optional<Session> m_session; ///< before the view: what it initialises, it finalises last
    std::optional<ModuleView> m_view;
    std::optional<Token> m_token;
};

} // namespace host
