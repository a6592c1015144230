// The list of slots and their names, and how a reader's name finds its slot.

#include "tests/conformance/TokenTest.h"
#include "token/Slots.h"

#include <algorithm>

namespace Conformance::SlotsTests {

using Fake::Function;

namespace {

using Readers = std::vector<std::pair<std::string, CK_SLOT_ID>>;

const std::string kName0 = "46616B65205265616465722030"; // "Fake Reader 0"
const std::string kName1 = "46616B65205265616465722031";
const std::string kName2 = "46616B65205265616465722032";

Trace lookupEntry() {
    return {{8, "PKCS11Client::getSlotIDFromReaderName"}};
}

Trace lookupExit(const std::string& slotID) {
    return {{16, "PKCS11Client::getSlotIDFromReaderName :slotID=0x" + slotID}};
}

} // namespace

class SlotVector : public GateTest {
protected:
    plugin::Slots slots{gate, L""};

    Readers readers() const {
        Readers list;
        for (std::uint32_t i = 0; i < slots.readers().size(); ++i) {
            list.emplace_back(toUtf8(slots.readers().at(i)->name()), slots.readers().at(i)->slotID());
        }
        return list;
    }
    /// The one reader's name, for a slot description given as it stands.
    std::string nameOf(std::string_view description) {
        fake.setDescription(Fake::kSlot, description);
        EXPECT_EQ(slots.getSlotVector(), CKR_OK);
        return readers().size() == 1 ? readers()[0].first : "not one reader";
    }
    /// Each call of C_GetSlotList announces `first`, then `second` slots, of which it writes no more than two.
    void answerCounts(CK_ULONG first, CK_ULONG second) {
        fake.hook<Function::C_GetSlotList>([first, second](CK_BBOOL, CK_SLOT_ID* list, CK_ULONG* count) {
            *count = list == nullptr ? first : second;
            for (CK_ULONG i = 0; list != nullptr && i < first && i < 2; ++i) {
                list[i] = 0x11 + i;
            }
            return CK_RV{CKR_OK};
        });
    }
};

TEST_F(SlotVector, readsEverySlotWithOrWithoutToken) {
    fake.addSlot("Fake Reader 1", false);
    const SlotListWatch list(fake);
    CK_SLOT_INFO other = fake.slotInfo(0x12);
    other.flags = 0;
    fake.setSlotInfo(0x12, other);

    EXPECT_EQ(slots.getSlotVector(), CKR_OK);

    EXPECT_EQ(readers(), (Readers{{kName0, 0x11}, {kName1, 0x12}}));
    expectCalls({"C_GetSlotList(0, null)", "C_GetSlotList(0, room=2)", "C_GetSlotInfo(0x11)", "C_GetSlotInfo(0x12)"});
    Trace second = slotTrace(1, 0x12, "Fake Reader 1");
    second.lines[4].text = "PKCS11Client::getSlotVector: <-- slotInfo.flags=0x0";
    expectTrace(slotCountTrace(2) + slotListTrace(list.address(), 2) + slotTrace(0, 0x11) + second +
                leave("getSlotVector"));
}

TEST_F(SlotVector, versionsAreHexadecimalMajorThenMinor) {
    CK_SLOT_INFO info = fake.slotInfo(Fake::kSlot);
    info.flags = 0x1A7;
    info.hardwareVersion = {0x1A, 0xFF};
    info.firmwareVersion = {0, 0x0B};
    fake.setSlotInfo(Fake::kSlot, info);
    const SlotListWatch list(fake);

    EXPECT_EQ(slots.getSlotVector(), CKR_OK);

    Trace slot = slotTrace(0, 0x11);
    const std::string name = "PKCS11Client::getSlotVector: <-- slotInfo.";
    slot.lines[4].text = name + "flags=0x1a7";
    slot.lines[5].text = name + "hardwareVersion=0x1a.ff";
    slot.lines[6].text = name + "firmwareVersion=0x0.b";
    expectTrace(slotCountTrace(1) + slotListTrace(list.address(), 1) + slot + leave("getSlotVector"));
}

TEST_F(SlotVector, everyCallReadsTheListAnew) {
    EXPECT_EQ(slots.getSlotVector(), CKR_OK);
    fake.addSlot("Fake Reader 1");
    fake.removeSlot(Fake::kSlot);

    EXPECT_EQ(slots.getSlotVector(), CKR_OK);

    EXPECT_EQ(readers(), (Readers{{kName1, 0x12}}));
}

TEST_F(SlotVector, noSlotsIsNoFailureAndTheMessageHasNoSeparator) {
    fake.removeAllSlots();

    EXPECT_EQ(slots.getSlotVector(), CKR_OK);

    EXPECT_EQ(readers(), Readers());
    expectCalls({"C_GetSlotList(0, null)"});
    expectTrace(slotCountTrace(0) + Trace{{1, "PKCS11Client::getSlotVectorSlot count = 0"}} + leave("getSlotVector"));
}

TEST_F(SlotVector, aFailingCountEmptiesTheListAndIsReturned) {
    EXPECT_EQ(slots.getSlotVector(), CKR_OK);
    forget();
    fake.answerNext(Function::C_GetSlotList, CKR_FUNCTION_FAILED);

    EXPECT_EQ(slots.getSlotVector(), CKR_FUNCTION_FAILED);

    EXPECT_EQ(readers(), Readers());
    expectCalls({"C_GetSlotList(0, null)"});
    expectTrace(entry("getSlotVector") + call("getSlotVector", "C_GetSlotList") +
                failed("getSlotVector", "C_GetSlotList", 0x06) + leave("getSlotVector"));
}

TEST_F(SlotVector, aFailingListIsReturned) {
    const SlotListWatch list(fake);
    fake.passNext(Function::C_GetSlotList);
    fake.answerNext(Function::C_GetSlotList, CKR_DEVICE_ERROR, 1, Fake::When::After);

    EXPECT_EQ(slots.getSlotVector(), CKR_DEVICE_ERROR);

    EXPECT_EQ(readers(), Readers());
    expectCalls({"C_GetSlotList(0, null)", "C_GetSlotList(0, room=1)"});
    expectTrace(slotCountTrace(1) + call("getSlotVector", "C_GetSlotList") +
                in("getSlotVector", "pSlotList", list.address()) + failed("getSlotVector", "C_GetSlotList", 0x30) +
                leave("getSlotVector"));
}

TEST_F(SlotVector, aFailingSlotStopsTheLoopAndTheEarlierReadersStay) {
    fake.addSlot("Fake Reader 1");
    fake.addSlot("Fake Reader 2");
    fake.addSlot("Fake Reader 3");
    const SlotListWatch list(fake);
    fake.passNext(Function::C_GetSlotInfo, 2);
    fake.answerNext(Function::C_GetSlotInfo, CKR_DEVICE_REMOVED, 1, Fake::When::After);

    EXPECT_EQ(slots.getSlotVector(), CKR_DEVICE_REMOVED);

    EXPECT_EQ(readers(), (Readers{{kName0, 0x11}, {kName1, 0x12}}));
    expectCalls({"C_GetSlotList(0, null)", "C_GetSlotList(0, room=4)", "C_GetSlotInfo(0x11)", "C_GetSlotInfo(0x12)",
                 "C_GetSlotInfo(0x13)"});
    expectTrace(slotCountTrace(4) + slotListTrace(list.address(), 4) + slotTrace(0, 0x11) +
                slotTrace(1, 0x12, "Fake Reader 1") + call("getSlotVector", "C_GetSlotInfo") +
                Trace{{4, "PKCS11Client::getSlotVector: --> pSlotID[2]=0x13"}} +
                failed("getSlotVector", "C_GetSlotInfo", 0x32) + leave("getSlotVector"));
}

TEST_F(SlotVector, theSecondCountDecidesWhenItIsSmaller) {
    fake.addSlot("Fake Reader 1");
    answerCounts(2, 1);

    EXPECT_EQ(slots.getSlotVector(), CKR_OK);

    EXPECT_EQ(readers(), (Readers{{kName0, 0x11}}));
    expectCalls({"C_GetSlotList(0, null)", "C_GetSlotList(0, room=2)", "C_GetSlotInfo(0x11)"});
}

TEST_F(SlotVector, aSecondCountOfZeroIsAnEmptyListWithoutTheMessage) {
    answerCounts(1, 0);

    EXPECT_EQ(slots.getSlotVector(), CKR_OK);

    EXPECT_EQ(readers(), Readers());
    expectTraceAt(1, {});
    expectCalls({"C_GetSlotList(0, null)", "C_GetSlotList(0, room=1)"});
}

TEST_F(SlotVector, aCountThatGrowsIsReadNoFurtherThanTheArray) {
    fake.addSlot("Fake Reader 1");
    answerCounts(2, 0x7FFFFFFF);

    EXPECT_EQ(slots.getSlotVector(), CKR_OK);

    EXPECT_EQ(readers(), (Readers{{kName0, 0x11}, {kName1, 0x12}}));
    expectCalls({"C_GetSlotList(0, null)", "C_GetSlotList(0, room=2)", "C_GetSlotInfo(0x11)", "C_GetSlotInfo(0x12)"});
    EXPECT_EQ(trace().lines[5], (TraceLine{4, "PKCS11Client::getSlotVector: <-- ulSlotCount=0x7fffffff"}));
}

TEST_F(SlotVector, aSlotThatArrivesBetweenTheCallsMakesTheSecondFail) {
    fake.hook<Function::C_GetSlotList>([this](CK_BBOOL tokenPresent, CK_SLOT_ID* list, CK_ULONG* count) {
        const CK_RV rv = fake.honest().C_GetSlotList(tokenPresent, list, count);
        if (list == nullptr) {
            fake.addSlot("Fake Reader 1");
        }
        return rv;
    });

    EXPECT_EQ(slots.getSlotVector(), CKR_BUFFER_TOO_SMALL);

    EXPECT_EQ(readers(), Readers());
    expectTraceAt(1, failed("getSlotVector", "C_GetSlotList", 0x150));
    expectCalls({"C_GetSlotList(0, null)", "C_GetSlotList(0, room=1)"});
}

TEST_F(SlotVector, aCountThatNoMemoryHoldsIsAnEmptyListAndTheMessageHasNoSeparator) {
    constexpr CK_ULONG kHuge = static_cast<CK_ULONG>(-1);
    answerCounts(kHuge, 2);

    EXPECT_EQ(slots.getSlotVector(), CKR_OK);

    EXPECT_EQ(readers(), Readers());
    expectCalls({"C_GetSlotList(0, null)"});
    expectTrace(slotCountTrace(kHuge) + Trace{{1, "PKCS11Client::getSlotVectormalloc error"}} + leave("getSlotVector"));
}

TEST_F(SlotVector, aCountBeyondReasonIsNotAllocated) {
    answerCounts(0x10000000, 2);

    EXPECT_EQ(slots.getSlotVector(), CKR_OK);

    EXPECT_EQ(readers(), Readers());
    expectCalls({"C_GetSlotList(0, null)"});
    expectTraceAt(1, {{1, "PKCS11Client::getSlotVectormalloc error"}});
}

TEST_F(SlotVector, missingFunctionsAnswerAsNotSupported) {
    fake.setNullEntry(Function::C_GetSlotInfo);
    EXPECT_EQ(slots.getSlotVector(), CKR_FUNCTION_NOT_SUPPORTED);
    expectTraceAt(1, failed("getSlotVector", "C_GetSlotInfo", 0x54));

    fake.setNullEntry(Function::C_GetSlotList);
    EXPECT_EQ(slots.getSlotVector(), CKR_FUNCTION_NOT_SUPPORTED);
    expectTraceAt(1, failed("getSlotVector", "C_GetSlotList", 0x54));
    EXPECT_EQ(readers(), Readers());
}

TEST_F(SlotVector, slotIDsKeepAllTheirBits) {
    constexpr CK_SLOT_ID kWide = static_cast<CK_SLOT_ID>(-1) / 2;
    CK_SLOT_ID asked = 0;
    fake.hook<Function::C_GetSlotList>([](CK_BBOOL, CK_SLOT_ID* list, CK_ULONG* count) {
        *count = 1;
        if (list != nullptr) {
            list[0] = kWide;
        }
        return CK_RV{CKR_OK};
    });
    fake.hook<Function::C_GetSlotInfo>([&](CK_SLOT_ID slot, CK_SLOT_INFO* info) {
        asked = slot;
        return fake.honest().C_GetSlotInfo(Fake::kSlot, info);
    });

    EXPECT_EQ(slots.getSlotIDFromReaderName(toTString(kName0)), kWide);

    EXPECT_EQ(asked, kWide);
    EXPECT_EQ(readers(), (Readers{{kName0, kWide}}));
}

TEST_F(SlotVector, onlyBlanksAreCutFromADescription) {
    EXPECT_EQ(nameOf("Key"), "4B6579");
    EXPECT_EQ(nameOf(""), "");
    EXPECT_EQ(nameOf("  Key  "), "20204B6579");
    EXPECT_EQ(nameOf("Two Words"), "54776F20576F726473");
    EXPECT_EQ(nameOf("Key\t"), "4B657909");
    EXPECT_EQ(nameOf("Key \t"), "4B65792009");
    EXPECT_EQ(nameOf("Key\xC2\xA0"), "4B6579C2A0");
}

TEST_F(SlotVector, aZeroByteEndsTheNameAfterTheBlanksWereCut) {
    using namespace std::string_view_literals;
    EXPECT_EQ(nameOf("Ke\0y"sv), "4B65");
    EXPECT_EQ(nameOf("Key \0"sv), "4B657920");
    EXPECT_EQ(nameOf("\0Key"sv), "");
    EXPECT_EQ(nameOf(std::string("Key") + std::string(61, '\0')), "4B6579");
    EXPECT_EQ(nameOf(std::string(64, '\0')), "");
}

TEST_F(SlotVector, aDescriptionWithoutBlankOrTerminatorIsReadToItsEnd) {
    std::string digits;
    for (int i = 0; i < 64; ++i) {
        digits += "78";
    }
    EXPECT_EQ(nameOf(std::string(64, 'x')), digits);
}

TEST_F(SlotVector, bytesThatAreNotUtf8StayInTheNameAndAreReplacedInTheTrace) {
    EXPECT_EQ(nameOf("A\xFF\xC3z"), "41FFC37A");
    EXPECT_EQ(trace().lines[8].text,
              "PKCS11Client::getSlotVector: <-- slotInfo.slotDescription (ReaderName)=A\xEF\xBF\xBD\xEF\xBF\xBDz" +
                  std::string(60, ' '));
    EXPECT_EQ(nameOf("Leseger\xC3\xA4t"), "4C657365676572C3A474");
}

TEST_F(SlotVector, descriptionsWithoutTerminatorOrWithZeroBytesAreTracedWithinTheirField) {
    using namespace std::string_view_literals;
    const std::string line = "PKCS11Client::getSlotVector: <-- slotInfo.";
    CK_SLOT_INFO info = fake.slotInfo(Fake::kSlot);
    std::fill(std::begin(info.slotDescription), std::end(info.slotDescription), 'd');
    std::fill(std::begin(info.manufacturerID), std::end(info.manufacturerID), 'm');
    fake.setSlotInfo(Fake::kSlot, info);
    EXPECT_EQ(slots.getSlotVector(), CKR_OK);
    Trace lines = trace();
    EXPECT_EQ(lines.lines[8].text, line + "slotDescription (ReaderName)=" + std::string(64, 'd'));
    EXPECT_EQ(lines.lines[9].text, line + "manufacturerID=" + std::string(32, 'm'));

    info.slotDescription[3] = 0;
    info.manufacturerID[0] = 0;
    fake.setSlotInfo(Fake::kSlot, info);
    EXPECT_EQ(slots.getSlotVector(), CKR_OK);
    lines = trace();
    EXPECT_EQ(lines.lines[8].text, line + "slotDescription (ReaderName)=ddd");
    EXPECT_EQ(lines.lines[9].text, line + "manufacturerID=");
}

class SlotLookup : public SlotVector {
protected:
    CK_SLOT_ID lookup(const std::string& name) { return slots.getSlotIDFromReaderName(toTString(name)); }
    CK_SLOT_ID lookupWithPrefix(const std::string& prefix, const std::string& name) {
        return plugin::Slots(gate, toTString(prefix)).getSlotIDFromReaderName(toTString(name));
    }
};

TEST_F(SlotLookup, fillsAnEmptyListFirst) {
    const SlotListWatch list(fake);

    EXPECT_EQ(lookup(kName0), Fake::kSlot);

    expectCalls({"C_GetSlotList(0, null)", "C_GetSlotList(0, room=1)", "C_GetSlotInfo(0x11)"});
    expectTrace(lookupEntry() + oneSlotVectorTrace(list.address()) + lookupExit("11"));
}

TEST_F(SlotLookup, aFilledListIsNotReadAgain) {
    EXPECT_EQ(slots.getSlotVector(), CKR_OK);
    fake.addSlot("Fake Reader 1");
    forget();

    EXPECT_EQ(lookup(kName1), kNoSlot);
    expectTrace(lookupEntry() + lookupExit("FFFFFFFF"));
    EXPECT_EQ(lookup(kName0), Fake::kSlot);
    expectTrace(lookupEntry() + lookupExit("11"));
    expectCalls({});

    EXPECT_EQ(slots.getSlotVector(), CKR_OK);
    EXPECT_EQ(lookup(kName1), 0x12U);
}

TEST_F(SlotLookup, aReaderThatWentIsFoundUntilTheListIsReadAgain) {
    EXPECT_EQ(slots.getSlotVector(), CKR_OK);
    fake.removeSlot(Fake::kSlot);

    EXPECT_EQ(lookup(kName0), Fake::kSlot);
}

TEST_F(SlotLookup, withoutSlotsEachLookupAsksAgain) {
    fake.removeAllSlots();

    EXPECT_EQ(lookup(kName0), kNoSlot);
    EXPECT_EQ(lookup(kName0), kNoSlot);

    expectCalls({"C_GetSlotList(0, null)", "C_GetSlotList(0, null)"});
    const Trace once = lookupEntry() + slotCountTrace(0) + Trace{{1, "PKCS11Client::getSlotVectorSlot count = 0"}} +
                       leave("getSlotVector") + lookupExit("FFFFFFFF");
    expectTrace(once + once);
}

TEST_F(SlotLookup, aFailureOfTheListIsIgnored) {
    fake.answerNext(Function::C_GetSlotList, CKR_GENERAL_ERROR);
    EXPECT_EQ(lookup(kName0), kNoSlot);
    expectTrace(lookupEntry() + entry("getSlotVector") + call("getSlotVector", "C_GetSlotList") +
                failed("getSlotVector", "C_GetSlotList", 0x05) + leave("getSlotVector") + lookupExit("FFFFFFFF"));

    fake.addSlot("Fake Reader 1");
    fake.passNext(Function::C_GetSlotInfo);
    fake.answerNext(Function::C_GetSlotInfo, CKR_GENERAL_ERROR);
    EXPECT_EQ(lookup(kName0), Fake::kSlot);
    EXPECT_EQ(lookup(kName1), kNoSlot);
}

TEST_F(SlotLookup, namesAreHexadecimalTextOfEitherCase) {
    fake.setDescription(Fake::kSlot, "Key");

    EXPECT_EQ(lookup("4B6579"), Fake::kSlot);
    EXPECT_EQ(lookup("4b6579"), Fake::kSlot);
    EXPECT_EQ(lookup("Key"), kNoSlot);
}

TEST_F(SlotLookup, theWholeNameCounts) {
    fake.setDescription(Fake::kSlot, "Key");

    EXPECT_EQ(lookup("4B65"), kNoSlot);
    EXPECT_EQ(lookup("4B65792E"), kNoSlot);
    EXPECT_EQ(lookup("4B657920"), kNoSlot);
    EXPECT_EQ(lookup("4B6579 "), kNoSlot);
    EXPECT_EQ(lookup(""), kNoSlot);
}

TEST_F(SlotLookup, ofEqualNamesTheFirstSlotWins) {
    fake.addSlot("Fake Reader 0");

    EXPECT_EQ(lookup(kName0), Fake::kSlot);
}

TEST_F(SlotLookup, theEmptyNameFindsTheFirstBlankReader) {
    fake.addSlot("");
    fake.addSlot("");

    EXPECT_EQ(lookup(""), 0x12U);
}

TEST_F(SlotLookup, theSlotIsTracedInUpperCaseWithTwoDigits) {
    CK_SLOT_ID slot = 5;
    fake.hook<Function::C_GetSlotList>([&](CK_BBOOL, CK_SLOT_ID* list, CK_ULONG* count) {
        *count = 1;
        if (list != nullptr) {
            list[0] = slot;
        }
        return CK_RV{CKR_OK};
    });
    fake.hook<Function::C_GetSlotInfo>(
        [&](CK_SLOT_ID, CK_SLOT_INFO* info) { return fake.honest().C_GetSlotInfo(Fake::kSlot, info); });

    EXPECT_EQ(lookup(kName0), 5U);
    expectTraceAt(16, leave("getSlotVector") + lookupExit("05"));
    slot = 0xABC;
    static_cast<void>(slots.getSlotVector());
    EXPECT_EQ(lookup(kName0), 0xABCU);
    expectTraceAt(16, leave("getSlotVector") + lookupExit("ABC"));
    slot = 0;
    static_cast<void>(slots.getSlotVector());
    EXPECT_EQ(lookup(kName0), 0U);
    expectTraceAt(16, leave("getSlotVector") + lookupExit("00"));
}

TEST_F(SlotLookup, whatStandsBeforeThePrefixGoesWithIt) {
    fake.setDescription(Fake::kSlot, "Reader 1");
    const std::string prefix = "5046583A";                                          // "PFX:"
    const std::string reader = "5265616465722031";                                  // "Reader 1"
    EXPECT_EQ(lookupWithPrefix(prefix, "78797A20" + prefix + reader), Fake::kSlot); // "xyz PFX:Reader 1"
    EXPECT_EQ(lookupWithPrefix(prefix, prefix + reader), Fake::kSlot);
    EXPECT_EQ(lookupWithPrefix(prefix, reader), Fake::kSlot);
    EXPECT_EQ(lookupWithPrefix(prefix, prefix), kNoSlot);
    EXPECT_EQ(lookupWithPrefix("", reader), Fake::kSlot);
}

TEST_F(SlotLookup, onlyTheFirstPrefixGoes) {
    fake.setDescription(Fake::kSlot, "P:Key");

    EXPECT_EQ(lookupWithPrefix("503A", "503A503A4B6579"), Fake::kSlot);
    EXPECT_EQ(lookupWithPrefix("503A", "503A4B6579"), kNoSlot);
}

TEST_F(SlotLookup, thePrefixIsSearchedWithItsCase) {
    fake.setDescription(Fake::kSlot, "Key");

    EXPECT_EQ(lookupWithPrefix("503A", "503a4b6579"), kNoSlot);
    EXPECT_EQ(lookupWithPrefix("503A", "503A4b6579"), Fake::kSlot);
}

TEST_F(SlotLookup, thePrefixIsTextAndMayBeginInTheMiddleOfAByte) {
    fake.setDescription(Fake::kSlot, "Key");

    EXPECT_EQ(lookupWithPrefix("3A", "53A4B6579"), Fake::kSlot);
}

TEST_F(SlotLookup, aNameThatIsThePrefixAloneFindsABlankReader) {
    fake.addSlot("");

    EXPECT_EQ(lookupWithPrefix("503A", "503A"), 0x12U);
}

} // namespace Conformance::SlotsTests
