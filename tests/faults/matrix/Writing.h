#pragma once

#include "tests/faults/matrix/LoginFrame.h"

namespace Faults {

/// A call between the login and the logout: a failure ends the script with `error` after `further` and the logout that
/// is its own; `search` and `sign` tell what stays open then.
struct Working {
    std::string error = kMapped;
    bool search = false;
    bool sign = false;
    std::vector<Output> outputs = {};
};

[[nodiscard]] inline Outcome endsLoggedOut(const Frame& frame, const Working& working = {}, const Calls& further = {}) {
    Now after = frame.ended();
    after.searching = working.search;
    // A logout ends what was to be signed.
    after.signing = working.sign && !frame.loggedIn;
    return ends(working.error, after, joined(further, frame.logout()), working.outputs);
}

/// The logout that ends what the script began; when it fails, the script has done its work all the same.
inline void addLogout(Body& body, const Frame& frame) {
    if (frame.loggedIn) {
        const std::string logout = frame.call("C_Logout");
        body.steps.push_back({logout, ends(body.good.error, body.good.after, {logout}, body.good.outputs), {}});
    }
}

} // namespace Faults
