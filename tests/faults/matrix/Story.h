#pragma once

#include "tests/conformance/Harness.h"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

// The fault matrix as data. A story is one kind of request on one state of the executor: the Cryptoki calls of its good
// run, written down by hand, and for each call what becomes of the request when exactly that call answers something
// else. Stage.h plays it.

namespace Faults {

using Conformance::kRsa;
using Conformance::Output;
using Conformance::Params;
using Calls = std::vector<std::string>;

inline constexpr const char* kUserPin = "31323334";
inline constexpr const char* kSoPin = "3132333435363738";

/// How things stand: what the executor holds, and what the module knows. Sessions as in call lines: "0x1".
struct Now {
    std::string handle = "none"; ///< the executor's session
    bool readWrite = false;
    bool searching = false;
    bool signing = false;
    Fake::Role role = Fake::Role::Nobody;
    std::string orphan;            ///< a session of the module that the executor has let go: "0x1 ro"; empty: none
    std::string slot = "0x11";     ///< the executor's
    std::string stored = kUserPin; ///< the user PIN that the executor keeps; empty: none
    std::string token = kUserPin;  ///< the user PIN that the token accepts; empty: none

    [[nodiscard]] Now user() const { return with(&Now::role, Fake::Role::User); }
    [[nodiscard]] Now officer() const { return with(&Now::role, Fake::Role::SecurityOfficer); }
    [[nodiscard]] Now search() const { return with(&Now::searching, true); }
    [[nodiscard]] Now sign() const { return with(&Now::signing, true); }
    [[nodiscard]] Now losing(const std::string& session) const { return with(&Now::orphan, session); }
    [[nodiscard]] Now onSlot(const std::string& id) const { return with(&Now::slot, id); }
    [[nodiscard]] Now keeping(const std::string& pin) const { return with(&Now::stored, pin); }
    [[nodiscard]] Now accepting(const std::string& pin) const { return with(&Now::token, pin); }

private:
    template <class T, class V>
    [[nodiscard]] Now with(T Now::*member, V value) const {
        Now changed = *this;
        changed.*member = value;
        return changed;
    }
};

[[nodiscard]] Now noSession();
[[nodiscard]] Now readOnly(const std::string& handle);
[[nodiscard]] Now readWrite(const std::string& handle);

/// "ERROR" is the client code of the answer.
inline constexpr const char* kMapped = "mapped";

/// What becomes of a request from one call on.
struct Outcome {
    std::string error = kMapped;
    Calls further;               ///< the calls behind the one in question
    std::vector<Output> outputs; ///< besides "ERROR"
    Now after;
    bool isGood = false; ///< all of it as in the good run, but for `after` where `hasAfter` says so
    bool hasAfter = false;
};

/// The good run goes on as if nothing had been.
[[nodiscard]] Outcome goesOn();
[[nodiscard]] Outcome goesOnTo(const Now& after);
/// The request ends here with the answer's code and no output.
[[nodiscard]] Outcome stops(const Now& after);
/// After these calls.
[[nodiscard]] Outcome stops(const Now& after, const Calls& further);
[[nodiscard]] Outcome ends(const std::string& error, const Now& after, const Calls& further = {},
                           const std::vector<Output>& outputs = {});

struct Step {
    std::string call;
    Outcome otherwise;                ///< for every code that has no rule of its own
    std::map<CK_RV, Outcome> special; ///< for these
    /// The module itself refuses this call in the good run, so a success is another story.
    bool isRefused = false;
};

enum class Start {
    NoReader,  ///< initialised; no slot chosen
    NoSession, ///< the reader is chosen
    ReadOnly,  ///< read-only session 0x1, public
    Public,    ///< read/write session 0x1, public
    UserIn,    ///< read/write session 0x1, user logged in
    OfficerIn, ///< read/write session 0x1, security officer logged in
};

using Furnish = std::function<void(Fake::Module&)>;

struct Story {
    std::string name;
    Start start = Start::NoSession;
    Furnish furnish; ///< slots, objects and counters; may be empty
    std::string script;
    Params params;
    std::vector<Step> steps;
    Outcome good; ///< `further` is not used

    [[nodiscard]] Calls callsFrom(std::size_t index) const;
};

[[nodiscard]] std::vector<Story> allStories();
/// The one of that name. Throws std::logic_error when there is none.
[[nodiscard]] Story storyNamed(const std::string& name);

/// a + b + …
[[nodiscard]] Calls joined(Calls calls, const Calls& more);

} // namespace Faults
