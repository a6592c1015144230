#pragma once

#include "tests/faults/matrix/Story.h"

namespace Faults {

inline constexpr const char* kNewPin = "35363738";
inline constexpr const char* kTokenInfo = "C_GetTokenInfo(0x11)";

[[nodiscard]] inline std::string logout(const std::string& session) {
    return "C_Logout(" + session + ")";
}

/// The session on which a script that needs the user works, and whether the script's own call logged the user in.
struct Frame {
    std::string session;
    bool loggedIn;

    [[nodiscard]] std::string call(const std::string& function, const std::string& more = "") const {
        return function + "(" + session + (more.empty() ? "" : ", " + more) + ")";
    }
    /// While the script works.
    [[nodiscard]] Now working() const { return readWrite(session).user(); }
    /// When a script that ends its own login has done so.
    [[nodiscard]] Now ended() const { return loggedIn ? readWrite(session) : working(); }
    /// That logout.
    [[nodiscard]] Calls logout() const { return loggedIn ? Calls{call("C_Logout")} : Calls(); }
};

/// What a script does once the user is logged in; `good` as for the story.
struct Body {
    std::vector<Step> steps;
    Outcome good;
};
using BodyOf = std::function<Body(const Frame&)>;

/// A script that logs the user in on whatever it finds and then does `bodyOf`.
[[nodiscard]] Story loggedInStory(const std::string& name, Start start, const std::string& script, const Params& params,
                                  const Furnish& furnish, const BodyOf& bodyOf);

[[nodiscard]] std::string getSessionInfo(const std::string& session);
[[nodiscard]] std::string closeSession(const std::string& session);
[[nodiscard]] std::string userLogin(const std::string& session, const std::string& pin = kUserPin);
inline constexpr const char* kOpenReadWrite = "C_OpenSession(0x11, flags=0x6)";
inline constexpr const char* kOpenReadOnly = "C_OpenSession(0x11, flags=0x4)";

/// The name of a state, for names of stories.
[[nodiscard]] std::string startName(Start start);

} // namespace Faults
