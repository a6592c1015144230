#pragma once

#include <chrono>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "host/card/KeySteps.h"
#include "host/desk/plan/Template.h"
#include "host/x509/Hash.h"
#include "host/x509/KeyUsage.h"

namespace host::desk {

/// A program that is started without a shell, for one card.
struct PlannedCommand {
    std::vector<Template> arguments; ///< the first is the program
    std::chrono::seconds timeout{30};
    int retries = 2; ///< tries after the first one
};

enum class SecretKind { Environment, File, Command, Random };

/// Where a secret comes from. A random one is made for each card and handed to `command` on standard input before it is
/// set; nobody else keeps it.
struct SecretSource {
    SecretKind kind = SecretKind::Environment;
    std::string name;       ///< of the variable, or the file's path
    PlannedCommand command; ///< prints the secret; of a random one: gets it
    std::size_t digits{};   ///< of a random one
};

enum class StepKind {
    InitToken,
    SetPin,
    GenerateKey,
    ImportKey,
    Request,
    Certify,
    WriteCertificate,
    NameContainer,
    Check,
};

/// One step of a plan. Which members a kind of step uses stands beside them.
struct Step {
    StepKind kind = StepKind::InitToken;
    std::string id;         ///< bytes: all but InitToken, SetPin and Certify
    Template label;         ///< InitToken; keys and WriteCertificate, which need none
    Template name;          ///< NameContainer
    Template file;          ///< ImportKey
    std::string soPin;      ///< InitToken, SetPin: a secret's name
    std::string pin;        ///< SetPin
    std::string passphrase; ///< ImportKey: a secret's name; empty: the file is not encrypted
    std::string size;       ///< GenerateKey
    KeyUse use;             ///< keys
    Template subject;       ///< Request, as "/O=Example/CN=Jane Doe"
    std::vector<Template> alternativeNames;
    x509::KeyUsage usage;
    x509::Hash hash = x509::Hash::Sha256;
};

/// The word for a step in a plan: "init-token".
[[nodiscard]] std::string_view nameOf(StepKind kind) noexcept;

/// What to do with a card that is initialised and that the journal does not know.
enum class UsedCard { Refuse, Erase };
/// What to do when a step fails: leave the card as it is, remove what this run created, or erase it and begin anew.
enum class OnFailure { Stop, Rollback, Retry };
/// How to go on with a card whose work was interrupted.
enum class OnInterruption { Resume, Erase };

/// What is done with every card of a batch.
struct Plan {
    std::string name;
    std::vector<std::string> columns; ///< the first one tells persons apart
    std::map<std::string, SecretSource> secrets;
    UsedCard usedCard = UsedCard::Refuse;
    OnFailure onFailure = OnFailure::Stop;
    int attempts = 3; ///< of OnFailure::Retry, the first included
    OnInterruption onInterruption = OnInterruption::Resume;
    PlannedCommand authority; ///< without arguments when no step needs it
    std::vector<Step> steps;
    std::string digest; ///< SHA-256 of the file, hexadecimal

    /// Returns true when a card's PIN is random: nobody has it after an interruption.
    [[nodiscard]] bool hasRandomPin() const;
    /// The label of this person's token.
    [[nodiscard]] std::string tokenLabel(const RowValues& row) const;
    /// The secret that steps behind the initialisation use as SO PIN.
    [[nodiscard]] const std::string& soPin() const { return steps.front().soPin; }
    /// The user PIN's secret; empty when no step sets one.
    [[nodiscard]] std::string userPin() const;
};

/// Reads a plan. UsageError with one line for each fault, "plan.json:12: steps[3].set-pin.pin: …"; the JSON Schema that
/// is published beside it (docs/issue-plan.schema.json) states the same rules, but for those between two values.
[[nodiscard]] Plan readPlan(std::string_view json, const std::string& file);

} // namespace host::desk
