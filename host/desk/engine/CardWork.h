#pragma once

#include <optional>
#include <string>

#include "host/card/Token.h"
#include "host/desk/engine/CardSecrets.h"
#include "host/desk/engine/Progress.h"
#include "host/desk/journal/Journal.h"
#include "host/desk/plan/Plan.h"
#include "host/x509/Certificate.h"

namespace host::desk {

/// The steps of a plan on one card, for one person. Each step is in the journal before it begins. Used by one thread.
///
///     CardWork work(plan, row, claim, token, {journal, secrets, progress});
///     work.run();
class CardWork {
public:
    /// What all cards share.
    struct Desk {
        Journal& journal;
        const CardSecrets& secrets;
        Progress& progress;
    };

    /// All but `claim` have to outlive it.
    CardWork(const Plan& plan, const RowValues& row, Claim claim, Token& token, Desk desk);

    /// Does what is left to do. CardFailure and UsageError when a step fails, with ExitStatus::NoToken when another
    /// card is in the reader; ClaimLost, JournalError, ModuleError when the card cannot be read, Interrupted between
    /// two steps.
    void run();
    /// Removes what the steps of this attempt have created, and returns what it cannot remove, one line an object.
    /// Throws as run.
    [[nodiscard]] std::string rollBack();
    /// The serial of the card, once it has one.
    [[nodiscard]] const std::string& serial() const noexcept { return m_claim.serial; }

private:
    void carryOut(std::size_t number);
    void doStep(const Step& step);
    void initialise(const Step& step);
    void setPin(const Step& step);
    void generate(const Step& step);
    void import(const Step& step);
    void request(const Step& step);
    void certify();
    void write(const Step& step);
    void name(const Step& step);
    void check(const Step& step);

    void requireSameCard();
    void guardPin(PinRole role);
    [[nodiscard]] WipedBytes secret(const std::string& name);
    void requestAgain(std::size_t number);
    void undo(const Step& step);
    [[nodiscard]] std::string removeObjectsOf(const Step& step);
    void login();

    const Plan& m_plan;
    const RowValues& m_row;
    Claim m_claim;
    Token& m_token;
    Desk m_desk;
    TokenView m_blank;       ///< the card as it was before this attempt
    std::size_t m_step = 0;  ///< the one under way, from 1
    std::size_t m_begun = 0; ///< steps of this attempt that may have left something on the card
    WipedBytes m_pin;        ///< the user's, once it is known
    bool m_isLoggedIn = false;
    x509::Bytes m_subject; ///< of the request, DER
    std::string m_request; ///< PEM
    std::optional<x509::PublicKey> m_requestedKey;
    std::optional<x509::Certificate> m_certificate;
};

} // namespace host::desk
