// Where a count of slots stops being believed.

#include "tests/conformance/TokenTest.h"
#include "token/Slots.h"

namespace Conformance::MostSlotsTests {

class MostSlots : public GateTest {
protected:
    /// That many are announced, and none is there when they are asked for.
    void announce(CK_ULONG count) {
        fake.hook<Fake::Function::C_GetSlotList>([count](CK_BBOOL, CK_SLOT_ID* list, CK_ULONG* told) -> CK_RV {
            *told = list == nullptr ? count : 0;
            return CKR_OK;
        });
        EXPECT_EQ(slots.getSlotVector(), CKR_OK);
    }

    plugin::Slots slots{gate, L""};
};

TEST_F(MostSlots, sixtyFiveThousandAndSomeAreAskedFor) {
    announce(65536);
    expectCalls({"C_GetSlotList(0, null)", "C_GetSlotList(0, room=65536)"});
}

TEST_F(MostSlots, oneMoreIsNotAskedFor) {
    announce(65537);
    expectCalls({"C_GetSlotList(0, null)"});
    expectTraceAt(1, {{1, "PKCS11Client::getSlotVectormalloc error"}});
}

} // namespace Conformance::MostSlotsTests
