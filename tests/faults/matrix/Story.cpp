#include "tests/faults/matrix/Story.h"

namespace Faults {

Now noSession() {
    return {};
}

Now readOnly(const std::string& handle) {
    Now now;
    now.handle = handle;
    return now;
}

Now readWrite(const std::string& handle) {
    Now now = readOnly(handle);
    now.readWrite = true;
    return now;
}

Outcome goesOn() {
    Outcome outcome;
    outcome.isGood = true;
    return outcome;
}

Outcome goesOnTo(const Now& after) {
    Outcome outcome = goesOn();
    outcome.after = after;
    outcome.hasAfter = true;
    return outcome;
}

Outcome stops(const Now& after) {
    return stops(after, {});
}

Outcome stops(const Now& after, const Calls& further) {
    return ends(kMapped, after, further);
}

Outcome ends(const std::string& error, const Now& after, const Calls& further, const std::vector<Output>& outputs) {
    Outcome outcome;
    outcome.error = error;
    outcome.further = further;
    outcome.outputs = outputs;
    outcome.after = after;
    return outcome;
}

Calls Story::callsFrom(std::size_t index) const {
    Calls calls;
    for (std::size_t i = index; i < steps.size(); ++i) {
        calls.push_back(steps[i].call);
    }
    return calls;
}

Calls joined(Calls calls, const Calls& more) {
    calls.insert(calls.end(), more.begin(), more.end());
    return calls;
}

} // namespace Faults
