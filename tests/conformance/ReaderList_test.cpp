// "getReaderList": the names of all readers, in one text.

#include "tests/conformance/TokenTest.h"

namespace Conformance::ReaderListTests {

using Fake::Function;

namespace {

const std::string kScript = "getReaderList";
const std::string kMethod = "getReaderlist";

Trace listing(int count) {
    return {{4, textf("PKCS11Client::getReaderlist: listing %d slots", count)}};
}

const Trace kSkipping = {{4, "PKCS11Client::getReaderlist: skipping blank reader"}};

} // namespace

class ReaderList : public PluginTest {
protected:
    /// An executor with this reader prefix.
    void startWithPrefix(const std::string& prefix) {
        plugin = Executor(creation().plain("readerPrefix", prefix));
        ASSERT_TRUE(plugin);
        ASSERT_EQ(plugin.initialize(), std::nullopt);
        forget();
    }
    /// The default slot and two more under these descriptions.
    void describe(std::string_view first, std::string_view second, std::string_view third) {
        fake.setDescription(Fake::kSlot, first);
        fake.addSlot(second);
        fake.addSlot(third);
    }
    static std::vector<Output> found(const std::string& readers) { return {done(), {"READERS", 4, 0, readers}}; }
};

TEST_F(ReaderList, oneReader) {
    start();
    const SlotListWatch list(fake);

    const Result result = execute(kScript);

    expectOutputs(result, found("46616B65205265616465722030"));
    expectCalls({"C_GetSlotList(0, null)", "C_GetSlotList(0, room=1)", "C_GetSlotInfo(0x11)"});
    expectTrace(executeHead(kScript, std::nullopt) + entry(kMethod) + oneSlotVectorTrace(list.address()) + listing(1) +
                leave(kMethod) + executeTail(result));
}

TEST_F(ReaderList, blankReadersAreSkippedAndNotCounted) {
    startWithPrefix("P:");
    describe("A", "", "B");
    const SlotListWatch list(fake);

    const Result result = execute(kScript);

    expectOutputs(result, found("503A412F503A42"));
    expectTrace(executeHead(kScript, std::nullopt) + entry(kMethod) + slotCountTrace(3) +
                slotListTrace(list.address(), 3) + slotTrace(0, 0x11, "A") + slotTrace(1, 0x12, "") +
                slotTrace(2, 0x13, "B") + leave("getSlotVector") + kSkipping + listing(2) + leave(kMethod) +
                executeTail(result));
}

TEST_F(ReaderList, withoutPrefixTheNamesAreJoinedByTheHexOfASlash) {
    start();
    describe("A", "B", "C");

    expectOutputs(execute(kScript), found("412F422F43"));
}

TEST_F(ReaderList, blankReadersAtTheEndsLeaveNoSeparator) {
    start();
    describe("", "B", "");

    expectOutputs(execute(kScript), found("42"));
}

TEST_F(ReaderList, aSlashInAReaderNameIsNotEscaped) {
    start();
    describe("A/B", "C", "");

    expectOutputs(execute(kScript), found("412F422F43"));
}

TEST_F(ReaderList, allReadersBlankIsAnEmptyList) {
    startWithPrefix("P:");
    describe("", "", "");

    const Result result = execute(kScript);

    expectOutputs(result, found(""));
}

TEST_F(ReaderList, thePrefixStandsAsTheHexOfItsText) {
    startWithPrefix("\xC3\x84"
                    "b/");
    describe("A", "B", "");

    expectOutputs(execute(kScript), found("C384622F412FC384622F42"));
}

TEST_F(ReaderList, noSlotsIsAnEmptyListWithoutError) {
    start();
    fake.removeAllSlots();

    const Result result = execute(kScript);

    expectOutputs(result, found(""));
    expectCalls({"C_GetSlotList(0, null)"});
    expectTrace(executeHead(kScript, std::nullopt) + entry(kMethod) + slotCountTrace(0) +
                Trace{{1, "PKCS11Client::getSlotVectorSlot count = 0"}} + leave("getSlotVector") + listing(0) +
                leave(kMethod) + executeTail(result));
}

TEST_F(ReaderList, aCountThatNoMemoryHoldsIsAnEmptyListWithoutError) {
    start();
    fake.hook<Function::C_GetSlotList>([](CK_BBOOL, CK_SLOT_ID*, CK_ULONG* count) {
        *count = static_cast<CK_ULONG>(-1);
        return CK_RV{CKR_OK};
    });

    expectOutputs(execute(kScript), found(""));

    expectTraceAt(1, {{1, "PKCS11Client::getSlotVectormalloc error"}});
}

TEST_F(ReaderList, aFailingListHasNoReaders) {
    start();
    fake.answerNext(Function::C_GetSlotList, CKR_DEVICE_ERROR);

    const Result result = execute(kScript);

    expectOutputs(result, {errorIs("80fa")});
    expectTrace(executeHead(kScript, std::nullopt) + entry(kMethod) + entry("getSlotVector") +
                call("getSlotVector", "C_GetSlotList") + failed("getSlotVector", "C_GetSlotList", 0x30) +
                leave("getSlotVector") + failedTight(kMethod, "getSlotVector", 0x30) + leave(kMethod) +
                executeTail(result));
}

TEST_F(ReaderList, aFailingSlotHasNoReadersThoughEarlierOnesAreKnown) {
    start();
    fake.addSlot("Fake Reader 1");
    fake.passNext(Function::C_GetSlotInfo);
    fake.answerNext(Function::C_GetSlotInfo, CKR_DEVICE_REMOVED);

    expectOutputs(execute(kScript), {errorIs("80eb")});
    expectTraceAt(1, failed("getSlotVector", "C_GetSlotInfo", 0x32) + failedTight(kMethod, "getSlotVector", 0x32));
    forget();

    run("getPlatformIdentifiers", Params().hex("READERNAME", kReaderHex));
    EXPECT_EQ(fake.callCount(Function::C_GetSlotInfo), 2U);
}

TEST_F(ReaderList, aLargeResultHasTheGeneralCode) {
    start();
    fake.answerNext(Function::C_GetSlotList, CKR_VENDOR_DEFINED);

    expectOutputs(execute(kScript), {errorIs("80f5")});
    expectTraceAt(1, failed("getSlotVector", "C_GetSlotList", 0x80000000) +
                         failedTight(kMethod, "getSlotVector", 0x80000000));
}

TEST_F(ReaderList, readsTheSlotsEveryTime) {
    start();
    expectOutputs(execute(kScript), found("46616B65205265616465722030"));
    fake.setDescription(Fake::kSlot, "New");
    forget();

    expectOutputs(execute(kScript), found("4E6577"));
    expectCalls({"C_GetSlotList(0, null)", "C_GetSlotList(0, room=1)", "C_GetSlotInfo(0x11)"});
}

TEST_F(ReaderList, manyReadersKeepTheirOrder) {
    start();
    fake.removeAllSlots();
    std::string expected;
    for (char letter = 'A'; letter <= 'T'; ++letter) {
        fake.addSlot(std::string(1, letter));
        expected += (expected.empty() ? "" : "2F") + Fake::hex(std::string(1, letter));
    }
    expectOutputs(execute(kScript), found(expected));
}

TEST_F(ReaderList, leavesTheCurrentSlotAlone) {
    startWithReader();
    fake.addSlot("Fake Reader 1");
    run(kScript);

    expectOutputs(execute("getAuthenticatorState"), {done(), {"AUTHSTATE", 0, 1, "2"}});
    EXPECT_EQ(calls().front(), "C_OpenSession(0x11, flags=0x4)");
}

TEST_F(ReaderList, itsParametersAreNotLookedAt) {
    start();
    const Params params = Params().plain("READERNAME", "nonsense").plain("ID", "9");

    const Result result = execute(kScript, params);

    expectOutputs(result, found("46616B65205265616465722030"));
    expectTraceAt(1, {});
}

} // namespace Conformance::ReaderListTests
