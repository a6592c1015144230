#pragma once

#include "tests/conformance/TokenTest.h"
#include "token/Session.h"

namespace Conformance {

/// A session on the default slot, not open yet. Afterwards no other may be open than the one that it holds.
class SessionTest : public GateTest {
protected:
    void SetUp() override {
        GateTest::SetUp();
        session.setSlotID(Fake::kSlot);
    }
    void TearDown() override {
        static_cast<void>(session.closeSession());
        GateTest::TearDown();
    }

    /// Opens it with these flags and forgets how.
    void open(CK_FLAGS flags) {
        ASSERT_EQ(session.openSession(flags, false), CKR_OK);
        forget();
    }

    plugin::Session session{gate};
};

} // namespace Conformance
