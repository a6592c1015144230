#pragma once

#include "tests/faults/matrix/Stage.h"

#include <functional>
#include <string>

namespace Faults {

/// A module or a host that breaks the rules. Whatever it did, the executor is of use as soon as things are honest
/// again.
class HostileTest : public Conformance::PluginTest {
public:
    using PluginTest::fake;
    using PluginTest::plugin;

protected:
    /// The request of a story on the state that it starts from.
    void setStage(const Story& story) {
        if (story.furnish) {
            story.furnish(fake);
        }
        plugin = begin(story.start);
        forget();
    }

    void becomeHonest() {
        fake.clearAnswers();
        fake.setSessionState(std::nullopt);
        fake.setTokenFlags(Fake::kSlot, 0);
        fake.insertToken();
        for (unsigned i = 0; i < Fake::kFunctionCount; ++i) {
            fake.unhook(static_cast<Fake::Function>(i));
            fake.setNullEntry(static_cast<Fake::Function>(i), false);
        }
    }

    /// The next operations work: the readers, one of them, the user's login on it, and reading.
    void expectUsable(Where where = Where::current()) {
        becomeHonest();
        if (!fake.userPin()) {
            fake.setUserPin(Fake::kUserPin); // a token that was made new has none
        }
        const std::string pin = Fake::hex(*fake.userPin());
        expectError(execute("getReaderList"), "0", where);
        expectError(execute("getPlatformIdentifiers", Params().hex("READERNAME", Conformance::kReaderHex)), "0", where);
        expectError(execute("writeData", Params().plain("PINID", "USER").hex("PIN", pin)), "0", where);
        expectError(execute("readData", Params()), "0", where);
    }
};

} // namespace Faults
