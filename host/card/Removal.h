#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/card/Token.h"

namespace host {

/// Which objects are to go: those of one identifier, or all.
struct RemovalRequest {
    std::optional<std::string> id; ///< bytes; nothing: all objects
    bool certificates = true;
    bool keys = true;
    bool seesPrivateKeys = true; ///< false without a login: a public key then counts as half of a key pair
};

/// One script of a removal.
struct RemovalStep {
    RemovalStep(const ScriptCall& script, std::string text) : call(script), done(std::move(text)) {}
    // Copied, never moved, as the call in it is.
    RemovalStep(const RemovalStep&) = default;
    RemovalStep& operator=(const RemovalStep&) = default;
    ~RemovalStep() = default;

    ScriptCall call;
    std::string done; ///< "the certificates with the identifier 01 are removed"
};

/// What is going to happen. Scripts remove by class and identifier; an object that no script can remove without taking
/// another one along stays.
struct Removal {
    std::vector<ObjectView> going;
    std::vector<ObjectView> staying; ///< asked for, but out of the scripts' reach
    std::vector<RemovalStep> steps;
};

/// Numbers of objects that have gone.
struct RemovedCounts {
    std::size_t certificates = 0;
    std::size_t privateKeys = 0;
    std::size_t publicKeys = 0;
};

/// Plans a removal. `objects` are all that can be seen.
[[nodiscard]] Removal planRemoval(const std::vector<ObjectView>& objects, const RemovalRequest& request);

/// Carries the plan out and counts by looking again. CardFailure when a script fails or an object is still there.
[[nodiscard]] RemovedCounts removeObjects(Token& token, const Removal& removal);

/// One line for a person: `private-key "mine", identifier 01, RSA 2048`.
[[nodiscard]] std::string describe(const ObjectView& object);

} // namespace host
