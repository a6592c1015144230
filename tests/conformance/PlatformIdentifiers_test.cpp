// "getPlatformIdentifiers": binds the executor to a reader and tells which token is in it.

#include "tests/conformance/TokenTest.h"

#include <algorithm>

namespace Conformance::PlatformIdentifiersTests {

using Fake::Function;

namespace {

const std::string kScript = "getPlatformIdentifiers";
const std::string kName1 = "46616B65205265616465722031"; // "Fake Reader 1"
const std::string kGeneric = "50313147454E45524943";     // "P11GENERIC"
const std::string kSerial = "30303030303030303030303030303131";
const std::string kLabel = "46616B6520546F6B656E"
                           "20202020202020202020202020202020202020202020";

std::vector<Output> identifiers(const std::string& serial = kSerial, const std::string& label = kLabel) {
    return {done(), {"SMOTYPE", 4, 0, kGeneric}, {"SMOID", 4, 0, serial}, {"LABEL", 4, 0, label}};
}

/// The lookup where the list of readers is known already.
Trace lookupTrace(const std::string& slotID) {
    return {{8, "PKCS11Client::getSlotIDFromReaderName"},
            {16, "PKCS11Client::getSlotIDFromReaderName :slotID=0x" + slotID}};
}

Trace askingToken(CK_SLOT_ID slot) {
    return Trace{{2, "PKCS11Client::getPlatformIdentifiers : C_GetTokenInfo"}} + in(kScript, "SlotID", slot);
}

Trace tokenTrace(const std::string& label, const std::string& model, const std::string& serial) {
    const std::string name = "PKCS11Client::getPlatformIdentifiers: <-- tokenInfo.";
    return {{2, name + "label=" + label}, {2, name + "model=" + model}, {2, name + "serialNumber=" + serial}};
}

Trace defaultTokenTrace() {
    return tokenTrace(padded("Fake Token", 32), padded("Fake Model", 16), "0000000000000011");
}

template <std::size_t N>
void fill(CK_UTF8CHAR (&field)[N], std::string_view text, char rest = ' ') {
    std::fill(std::begin(field), std::end(field), static_cast<CK_UTF8CHAR>(rest));
    std::copy(text.begin(), text.end(), std::begin(field));
}

} // namespace

class PlatformIdentifiers : public PluginTest {
protected:
    static Params reader(const std::string& hex = kReaderHex) { return Params().hex("READERNAME", hex); }
    /// The slot on which a script of this executor now opens its session.
    std::string currentSlot() {
        forget();
        static_cast<void>(execute("getAuthenticatorState"));
        return calls().at(0);
    }
    void expectCurrentSlot(const std::string& slot) {
        EXPECT_EQ(currentSlot(), "C_OpenSession(" + slot + ", flags=0x4)");
    }
};

TEST_F(PlatformIdentifiers, identifiesTheToken) {
    start();
    const SlotListWatch list(fake);

    const Result result = execute(kScript, reader());

    expectOutputs(result, identifiers());
    expectCalls({"C_GetSlotList(0, null)", "C_GetSlotList(0, room=1)", "C_GetSlotInfo(0x11)", "C_GetTokenInfo(0x11)"});
    expectTrace(executeTrace(kScript, {{"READERNAME"}},
                             Trace{{8, "PKCS11Client::getSlotIDFromReaderName"}} + oneSlotVectorTrace(list.address()) +
                                 Trace{{16, "PKCS11Client::getSlotIDFromReaderName :slotID=0x11"}} + askingToken(0x11) +
                                 defaultTokenTrace(),
                             result));
}

TEST_F(PlatformIdentifiers, aKnownListIsNotReadAgain) {
    startWithReader();

    const Result result = execute(kScript, reader());

    expectOutputs(result, identifiers());
    expectCalls({"C_GetTokenInfo(0x11)"});
    expectTrace(
        executeTrace(kScript, {{"READERNAME"}}, lookupTrace("11") + askingToken(0x11) + defaultTokenTrace(), result));
}

TEST_F(PlatformIdentifiers, aReaderThatArrivesLaterIsFoundAfterTheReaderList) {
    startWithReader();
    fake.addSlot("Fake Reader 1");
    expectOutputs(execute(kScript, reader(kName1)), {errorIs("80e9")});
    run("getReaderList");

    expectOutputs(execute(kScript, reader(kName1)), identifiers("30303030303030303030303030303132"));
}

TEST_F(PlatformIdentifiers, theParameterIsFoundInAnyCase) {
    start();
    for (const char* id : {"READERNAME", "readername", "ReaderName", "rEADERnAME"}) {
        expectOutputs(execute(kScript, Params().hex(id, kReaderHex)), identifiers());
    }
}

TEST_F(PlatformIdentifiers, theFirstReaderNameCounts) {
    start();
    fake.addSlot("Fake Reader 1");

    expectOutputs(execute(kScript, Params().hex("OTHER", "00").hex("readername", kName1).hex("READERNAME", kReaderHex)),
                  identifiers("30303030303030303030303030303132"));
    expectCurrentSlot("0x12");
}

TEST_F(PlatformIdentifiers, theFirstReaderNameCountsEvenWhenItNamesNone) {
    start();

    expectOutputs(execute(kScript, reader("00").hex("READERNAME", kReaderHex)), {errorIs("80e9")});
}

TEST_F(PlatformIdentifiers, theNameIsDecodedByItsEncoding) {
    start();
    expectOutputs(execute(kScript, Params().text("READERNAME", "Fake Reader 0")), identifiers());
    expectOutputs(execute(kScript, Params().base64("READERNAME", "RmFrZSBSZWFkZXIgMA==")), identifiers());
    expectOutputs(execute(kScript, Params().rawText("READERNAME", kReaderHex)), identifiers());
    expectOutputs(execute(kScript, Params().plain("READERNAME", kReaderHex)), identifiers());
    expectOutputs(execute(kScript, Params().hex("READERNAME", "46616b65205265616465722030")), identifiers());
    expectOutputs(execute(kScript, Params().plain("READERNAME", "Fake Reader 0")), {errorIs("80e9")});
    expectOutputs(execute(kScript, Params().hex("READERNAME", "Fake Reader 0")), {errorIs("80e9")});
    expectOutputs(execute(kScript, Params().base64("READERNAME", "not Base64!")), {errorIs("80e9")});
}

TEST_F(PlatformIdentifiers, anUnknownEncodingIsTheEmptyName) {
    startWithReader();

    const Result result = execute(kScript, Params().add("READERNAME", 3, 0, kReaderHex));

    expectOutputs(result, {errorIs("80e9")});
    expectTrace(executeTrace(kScript, {{"READERNAME"}},
                             Trace{{1, "PKCS11Client::getValueFromEncoding: --> default case"}} +
                                 lookupTrace("FFFFFFFF") + askingToken(kNoSlot) +
                                 Trace{{1, "PKCS11Client::getPlatformIdentifiers : C_GetTokenInfo 0x03 : failed"}},
                             result));
}

TEST_F(PlatformIdentifiers, withoutParametersTheAccessReaderIsTaken) {
    start(Params().hex("readerName", kReaderHex));
    expectOutputs(execute(kScript, Params::null()), identifiers());
    expectOutputs(execute(kScript, Params()), identifiers());
    expectCurrentSlot("0x11");
}

TEST_F(PlatformIdentifiers, theRuntimeReaderOfInitializeWinsOverTheAccessReader) {
    fake.addSlot("Fake Reader 1");
    start(Params().hex("readerName", kReaderHex), Params().text("readerName", "Fake Reader 1"));

    expectOutputs(execute(kScript), identifiers("30303030303030303030303030303132"));
}

TEST_F(PlatformIdentifiers, theReaderNameOfAnOperationIsNotRemembered) {
    start(Params().hex("readerName", kReaderHex));
    fake.addSlot("Fake Reader 1");
    expectOutputs(execute(kScript, reader(kName1)), identifiers("30303030303030303030303030303132"));

    expectOutputs(execute(kScript), identifiers());
}

TEST_F(PlatformIdentifiers, theAccessSpellingOfAnOperationIsRemembered) {
    start(Params().hex("readerName", kReaderHex));
    fake.addSlot("Fake Reader 1");
    expectOutputs(execute(kScript, Params().hex("readerName", kName1)),
                  identifiers("30303030303030303030303030303132"));

    expectOutputs(execute(kScript), identifiers("30303030303030303030303030303132"));
}

TEST_F(PlatformIdentifiers, withNoNameAtAllNoReaderIsFound) {
    start();

    const Result result = execute(kScript);

    expectOutputs(result, {errorIs("80e9")});
    expectCalls({"C_GetSlotList(0, null)", "C_GetSlotList(0, room=1)", "C_GetSlotInfo(0x11)", "C_GetTokenInfo(none)"});
}

TEST_F(PlatformIdentifiers, parametersWithoutAReaderNameAreAnErrorThoughTheAccessReaderIsKnown) {
    start(Params().hex("readerName", kReaderHex));

    const Result result = execute(kScript, Params().hex("READER", kReaderHex));

    expectOutputs(result, {errorIs("80ec")});
    expectCalls({});
    expectTrace(executeTrace(kScript, {{"READER"}},
                             Trace{{1, "PKCS11Client::getPlatformIdentifiers: READERNAME parameter not found"}},
                             result));
}

TEST_F(PlatformIdentifiers, parametersWithoutAReaderNameLeaveTheCurrentSlot) {
    startWithReader();
    expectOutputs(execute(kScript, Params().plain("PINID", "USER")), {errorIs("80ec")});

    expectCurrentSlot("0x11");
}

TEST_F(PlatformIdentifiers, anUnknownReaderIsAskedAsNoSlotAndBecomesTheCurrentSlot) {
    startWithReader();

    const Result result = execute(kScript, reader("4E6F6E65"));

    expectOutputs(result, {errorIs("80e9")});
    expectCalls({"C_GetTokenInfo(none)"});
    expectTrace(executeTrace(kScript, {{"READERNAME"}},
                             lookupTrace("FFFFFFFF") + askingToken(kNoSlot) + failed(kScript, "C_GetTokenInfo", 0x03),
                             result));
    expectCurrentSlot("none");
}

TEST_F(PlatformIdentifiers, anUnknownReaderReportsWhatTheModuleSays) {
    startWithReader();
    fake.answerNext(Function::C_GetTokenInfo, CKR_DEVICE_ERROR);

    expectOutputs(execute(kScript, reader("4E6F6E65")), {errorIs("80fa")});
}

TEST_F(PlatformIdentifiers, aTokenThatDoesNotAnswerHasNoIdentifiersButIsTheCurrentOne) {
    start();
    fake.addSlot("Fake Reader 1");
    run(kScript, reader());
    fake.removeToken(0x12);

    const Result result = execute(kScript, reader(kName1));

    expectOutputs(result, {errorIs("80eb")});
    expectTrace(executeTrace(kScript, {{"READERNAME"}},
                             lookupTrace("12") + askingToken(0x12) + failed(kScript, "C_GetTokenInfo", 0xE0), result));
    expectCurrentSlot("0x12");
}

TEST_F(PlatformIdentifiers, informationWrittenAlongWithAFailureIsNotTold) {
    startWithReader();
    fake.answerNext(Function::C_GetTokenInfo, CKR_TOKEN_NOT_RECOGNIZED, 1, Fake::When::After);

    const Result result = execute(kScript, reader());

    expectOutputs(result, {errorIs("80ea")});
    expectTraceAt(1 | 2, Trace{{2, "PKCS11Client::getPlatformIdentifiers : C_GetTokenInfo"}} +
                             failed(kScript, "C_GetTokenInfo", 0xE1));
}

TEST_F(PlatformIdentifiers, blanksOfLabelAndSerialNumberAreKept) {
    CK_TOKEN_INFO info = fake.tokenInfo();
    fill(info.label, "MyToken");
    fill(info.serialNumber, "  12");
    fake.setTokenInfo(Fake::kSlot, info);
    start();

    const Result result = execute(kScript, reader());

    expectOutputs(result, identifiers("20203132202020202020202020202020",
                                      "4D79546F6B656E20202020202020202020202020202020202020202020202020"));
    EXPECT_EQ(result.value("LABEL")->size(), 64U);
}

TEST_F(PlatformIdentifiers, aZeroByteEndsLabelAndSerialNumber) {
    using namespace std::string_view_literals;
    CK_TOKEN_INFO info = fake.tokenInfo();
    fill(info.label, "My \0Token"sv);
    fill(info.serialNumber, "12", '\0');
    fill(info.model, "M\0odel"sv);
    fake.setTokenInfo(Fake::kSlot, info);
    startWithReader();

    const Result result = execute(kScript, reader());

    expectOutputs(result, identifiers("3132", "4D7920"));
    expectTrace(executeTrace(kScript, {{"READERNAME"}},
                             lookupTrace("11") + askingToken(0x11) + tokenTrace("My ", "M", "12"), result));
}

TEST_F(PlatformIdentifiers, fieldsOfZeroBytesAreEmptyValues) {
    CK_TOKEN_INFO info = fake.tokenInfo();
    fill(info.label, "", '\0');
    fill(info.serialNumber, "", '\0');
    fake.setTokenInfo(Fake::kSlot, info);
    start();

    expectOutputs(execute(kScript, reader()), identifiers("", ""));
}

TEST_F(PlatformIdentifiers, fieldsWithoutTerminatorAreReadWithinTheirLength) {
    CK_TOKEN_INFO info = fake.tokenInfo();
    fill(info.label, "", 'l');
    fill(info.model, "", 'm');
    fill(info.serialNumber, "", 's');
    fake.setTokenInfo(Fake::kSlot, info);
    startWithReader();

    const Result result = execute(kScript, reader());

    expectOutputs(result, identifiers(Fake::hex(std::string(16, 's')), Fake::hex(std::string(32, 'l'))));
    expectTrace(executeTrace(kScript, {{"READERNAME"}},
                             lookupTrace("11") + askingToken(0x11) +
                                 tokenTrace(std::string(32, 'l'), std::string(16, 'm'), std::string(16, 's')),
                             result));
}

TEST_F(PlatformIdentifiers, bytesThatAreNotUtf8AreToldAsTheyAre) {
    CK_TOKEN_INFO info = fake.tokenInfo();
    fill(info.label, "\xFF\xC3");
    fill(info.serialNumber, "\x80\x01");
    fake.setTokenInfo(Fake::kSlot, info);
    startWithReader();

    const Result result = execute(kScript, reader());

    expectOutputs(result,
                  identifiers("8001" + Fake::hex(std::string(14, ' ')), "FFC3" + Fake::hex(std::string(30, ' '))));
    expectTraceAt(2, Trace{{2, "PKCS11Client::getPlatformIdentifiers : C_GetTokenInfo"}} +
                         tokenTrace("\xEF\xBF\xBD\xEF\xBF\xBD" + std::string(30, ' '), padded("Fake Model", 16),
                                    "\xEF\xBF\xBD\x01" + std::string(14, ' ')));
}

TEST_F(PlatformIdentifiers, thePrefixOfTheReaderIsTakenOff) {
    plugin = Executor(creation().plain("readerPrefix", "PFX:"));
    ASSERT_TRUE(plugin);
    ASSERT_EQ(plugin.initialize(), std::nullopt);

    expectOutputs(execute(kScript, Params().text("READERNAME", "xyz PFX:Fake Reader 0")), identifiers());
    expectOutputs(execute(kScript, Params().text("READERNAME", "PFX:Fake Reader 0")), identifiers());
    expectOutputs(execute(kScript, reader()), identifiers());
    expectOutputs(execute(kScript, Params().text("READERNAME", "pfx:Fake Reader 0")), {errorIs("80e9")});
}

TEST_F(PlatformIdentifiers, aNameOfTheReaderListIsUnderstood) {
    plugin = Executor(creation().plain("readerPrefix", "PFX:"));
    ASSERT_TRUE(plugin);
    ASSERT_EQ(plugin.initialize(), std::nullopt);
    const std::string name = execute("getReaderList").value("READERS").value_or("");

    expectOutputs(execute(kScript, reader(name)), identifiers());
}

TEST_F(PlatformIdentifiers, aModuleWithoutTheFunctionAnswersAsNotSupported) {
    startWithReader();
    fake.setNullEntry(Function::C_GetTokenInfo);

    expectOutputs(execute(kScript, reader()), {errorIs("80f4")});
    expectTraceAt(1, failed(kScript, "C_GetTokenInfo", 0x54));
}

TEST_F(PlatformIdentifiers, anOpenSessionIsKeptThoughItIsOnAnotherSlot) {
    startWithReader();
    fake.addSlot("Fake Reader 1");
    run("authenticate", Params().plain("AUTH_TYPE", "STATIC").plain("PINID", "USER").hex("PIN", "31323334"));
    run("getReaderList");
    run(kScript, reader(kName1));

    run("getAuthenticatorState", Params().plain("PINID", "USER"));
    forget();
    expectOutputs(execute("getAuthenticatorState"), {done(), {"AUTHSTATE", 0, 1, "1"}});
    expectCalls({"C_GetSessionInfo(0x1)", "C_GetTokenInfo(0x12)"});
}

} // namespace Conformance::PlatformIdentifiersTests
