#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/card/CardFailure.h"
#include "host/card/Person.h"
#include "host/card/ScriptCall.h"
#include "host/inspect/ModuleView.h"
#include "host/scripts/Session.h"

namespace host {

enum class PinRole { User, Officer };

/// What to do before a PIN is sent that has one try left.
enum class LastTry { Stop, Ask, Go };

/// How a card command is to be carried out.
struct CardRules {
    bool isDryRun = false;          ///< scripts that write or log in are shown, not run
    LastTry lastTry = LastTry::Ask; ///< Ask is Stop where nobody is there to ask
    bool showsProgress = false;     ///< a line that turns while a script runs
};

/// The chosen token: what it says of itself through the view, and the scripts that the executor runs on it. What has
/// been done is noted, so that a failure half-way can say it.
///
///     Token token(session, view, slot, prefix, person, rules);
///     token.login(pin);
///     token.run("naming the container", call);
///     token.note("the container is named");
class Token {
public:
    /// Makes the executor work on this slot. CardFailure when it does not find it. All but `slot` must outlive the
    /// token.
    Token(Session& session, const ModuleView& view, SlotView slot, const std::string& readerPrefix, Person& person,
          CardRules rules);

    [[nodiscard]] const SlotView& slot() const noexcept { return m_slot; }
    [[nodiscard]] const TokenView& info() const noexcept { return *m_slot.token; }
    [[nodiscard]] const CardRules& rules() const noexcept { return m_rules; }
    [[nodiscard]] Person& person() const noexcept { return m_person; }
    /// `token "alice"`, or `the blank token in reader "X"`: fit for a terminal.
    [[nodiscard]] std::string name() const;

    /// Asks the token anew. CardFailure (7) when it has gone.
    void refresh();
    /// The objects that can be seen now. CardFailure when they cannot be read.
    [[nodiscard]] std::vector<ObjectView> objects() const;
    [[nodiscard]] std::vector<MechanismView> mechanisms() const { return m_view.mechanisms(m_slot.id); }

    /// Asks how the PIN stands and refuses to go on when it is locked (6), or when one try is left and nobody says yes
    /// (9). Call it before a PIN is read.
    void guardPin(PinRole role);

    /// Logs the user in; until the command ends, or another login or an initialisation comes.
    void login(const WipedBytes& pin);
    /// Runs a script; `doing` is what a failure begins with ("generating the key"). CardFailure when it does not
    /// succeed. In a dry run the script is shown instead, and there is no answer.
    std::optional<ScriptAnswer> run(const std::string& doing, const ScriptCall& call);

    /// Announces a step of a command that has several, in the words that `note` will have for it.
    void announce(const std::string& step);
    /// Notes a step that is done, as a clause of its own: "the token is initialised".
    void note(const std::string& step);
    [[nodiscard]] const std::vector<std::string>& done() const noexcept { return m_done; }
    /// What was announced and not noted since.
    [[nodiscard]] const std::vector<std::string>& open() const noexcept { return m_open; }
    /// The scripts of a dry run, as they would be called.
    [[nodiscard]] const std::vector<std::string>& planned() const noexcept { return m_planned; }

private:
    [[nodiscard]] std::string at(const std::string& doing) const { return doing + " on " + name(); }

    Session& m_session;
    const ModuleView& m_view;
    SlotView m_slot;
    Person& m_person;
    CardRules m_rules;
    std::vector<std::string> m_done;
    std::vector<std::string> m_open;
    std::vector<std::string> m_planned;
};

/// "the user PIN" or "the security officer's PIN".
[[nodiscard]] const char* nameOf(PinRole role);

} // namespace host
