// "init" and "recycle": one procedure under two names.

#include "tests/conformance/PinTest.h"

namespace Conformance::InitTokenTests {

using Fake::Function;
using Fake::Role;

namespace {

std::string repeated(const std::string& text, int times) {
    std::string result;
    for (int i = 0; i < times; ++i) {
        result += text;
    }
    return result;
}

const std::string kZeroLabel = repeated("00", 32);

/// The names in which the two scripts differ.
struct Names {
    const char* script;
    const char* method;
    const char* keyId;
    const char* key;
};

} // namespace

class InitToken : public PinTest, public ::testing::WithParamInterface<Names> {
protected:
    const std::string script = GetParam().script;
    const std::string method = GetParam().method;
    const std::string keyId = GetParam().keyId;
    const std::string key = GetParam().key;

    [[nodiscard]] Params officer() const { return Params().plain(keyId, "SO").hex(key, kSoPinHex); }
    [[nodiscard]] std::string message(const std::string& text) const { return "PKCS11Client::" + method + ": " + text; }
    [[nodiscard]] Trace initializing(const std::string& label) const {
        return call(method, "C_InitToken") + in(method, "SlotID", 0x11) + Trace{{4, message("--> Label=" + label)}};
    }

    /// The script with this label reaches the token with these bytes, and the trace shows this text.
    void expectLabel(const Params& label, const std::string& bytes, const std::string& shown,
                     Where where = Where::current()) {
        forget();
        expectOutputs(execute(script, officer().append(label)), {done()}, where);
        std::vector<TraceLine> lines = trace().lines;
        std::erase_if(lines, [this](const TraceLine& line) { return line.text.rfind(message("--> Label="), 0) != 0; });
        if (lines != std::vector<TraceLine>{{4, message("--> Label=" + shown)}}) {
            ADD_FAILURE_AT(where.file_name(), static_cast<int>(where.line()))
                << "label shown as: " << (lines.empty() ? std::string("nothing") : lines[0].text);
        }
        expectCalls({"C_InitToken(0x11, 3132333435363738, label=" + bytes + ")"}, where);
    }
};

INSTANTIATE_TEST_SUITE_P(Scripts, InitToken,
                         ::testing::Values(Names{"init", "initToken", "INIT_KEYID", "INIT_KEY"},
                                           Names{"recycle", "recycle", "RECYCLE_KEYID", "RECYCLE_KEY"}),
                         [](const ::testing::TestParamInfo<Names>& names) { return std::string(names.param.script); });

// The whole road

TEST_P(InitToken, theTokenIsInitialisedAnewWithTheLabel) {
    fake.addObject({});
    startWithReader();
    const Params params = officer().hex("LABEL", "43617264");

    const Result result = execute(script, params);

    expectOutputs(result, {done()});
    const std::string label = "43617264" + repeated("2000", 14);
    expectCalls({"C_InitToken(0x11, 3132333435363738, label=" + label + ")"});
    expectTrace(executeHead(script, params.ids()) + entry(method) + closeSessionTrace(std::nullopt) +
                initializing("Card ") + leave(method) + executeTail(result));
    EXPECT_EQ(fake.userPin(), std::nullopt);
    EXPECT_TRUE(fake.objects().empty());
}

TEST_P(InitToken, theOpenSessionIsClosedFirstAndNotOpenedAgain) {
    startWithSession(Role::User);

    expectOutputs(runScript(script, officer()), {done()});

    expectCalls({"C_CloseSession(0x1)", "C_InitToken(0x11, 3132333435363738, label=" + kZeroLabel + ")"});
    expectTrace(entry(method) + closeSessionTrace(1) + initializing("") + leave(method));
    EXPECT_EQ(fake.sessionCount(), 0U);
    // The client knows: the next script opens one.
    static_cast<void>(execute("signData"));
    EXPECT_EQ(calls().front(), "C_OpenSession(0x11, flags=0x6)");
}

TEST_P(InitToken, withoutKeyTheTokenIsAskedWithoutPin) {
    startWithReader();
    fake.answerNext(Function::C_InitToken, CKR_OK);
    expectOutputs(execute(script, Params().plain(keyId, "SO")), {done()});
    expectCalls({"C_InitToken(0x11, null/0, label=" + kZeroLabel + ")"});
}

TEST_P(InitToken, noAccessParameterIsUsed) {
    startWithReader(officer().hex("PIN", kSoPinHex).hex("LABEL", "43617264").plain("PINID", "SO"));
    fake.answerNext(Function::C_InitToken, CKR_OK);
    expectOutputs(execute(script, Params().plain(keyId, "SO")), {done()});
    expectCalls({"C_InitToken(0x11, null/0, label=" + kZeroLabel + ")"});
}

TEST_P(InitToken, theStoredPinStaysWithTheClient) {
    startWithReader(Params().hex("PIN", kUserPinHex));
    run(script, officer());
    EXPECT_EQ(storedUserPin(), kUserPinHex);
}

// The label

TEST_P(InitToken, withoutLabelThereAreZeros) {
    startWithReader();
    expectLabel(Params(), kZeroLabel, "");
}

TEST_P(InitToken, aLabelOfEvenLengthIsFollowedByBlankAndZero) {
    startWithReader();
    expectLabel(Params().hex("LABEL", "4142"), "4142" + repeated("2000", 15), "AB ");
}

TEST_P(InitToken, aLabelOfOddLengthIsFollowedByZeroAndBlank) {
    startWithReader();
    expectLabel(Params().hex("LABEL", "414243"), "41424300" + repeated("2000", 14), "ABC");
    expectLabel(Params().hex("LABEL", "41"), "4100" + repeated("2000", 15), "A");
}

TEST_P(InitToken, longLabelsAreCutAt32Bytes) {
    startWithReader();
    const std::string digits = "30313233343536373839";
    const std::string all = repeated(digits, 3) + "4142";
    const std::string text = "012345678901234567890123456789AB";
    expectLabel(Params().hex("LABEL", all), all, text);
    expectLabel(Params().hex("LABEL", all + "43"), all, text);
    expectLabel(Params().hex("LABEL", all + "4344454647484950"), all, text);
    expectLabel(Params().hex("LABEL", all + repeated("43", 5000)), all, text);
    expectLabel(Params().hex("LABEL", repeated(digits, 3) + "41"), repeated(digits, 3) + "4100",
                "012345678901234567890123456789A");
    expectLabel(Params().hex("LABEL", repeated(digits, 3)), repeated(digits, 3) + "2000",
                "012345678901234567890123456789 ");
}

TEST_P(InitToken, anEmptyLabelLeavesTheBlankPattern) {
    startWithReader();
    expectLabel(Params().hex("LABEL", ""), repeated("2000", 16), " ");
}

TEST_P(InitToken, aLabelThatDoesNotDecodeLeavesTheBlankPattern) {
    startWithReader();
    expectLabel(Params().hex("LABEL", "Card"), repeated("2000", 16), " ");
    expectLabel(Params().plain("LABEL", "414"), repeated("2000", 16), " ");
}

TEST_P(InitToken, theLabelIsTheTextAsItStandsWhateverItsEncodingSays) {
    startWithReader();
    expectLabel(Params().base64("LABEL", "4142"), "4142" + repeated("2000", 15), "AB ");
    expectLabel(Params().text("LABEL", "4142"), "4142" + repeated("2000", 15), "AB ");
    expectLabel(Params().plain("LABEL", "6a6B"), "6A6B" + repeated("2000", 15), "jk ");
}

TEST_P(InitToken, ofTwoLabelsTheLastCounts) {
    startWithReader();
    expectLabel(Params().hex("LABEL", repeated("41", 32)).hex("LABEL", "42"), "4200" + repeated("2000", 15), "B");
    expectLabel(Params().hex("LABEL", repeated("41", 32)).hex("LABEL", ""), repeated("2000", 16), " ");
}

TEST_P(InitToken, theLabelIsShownAsUtf8) {
    startWithReader();
    expectLabel(Params().hex("LABEL", "C3A4E282AC"), "C3A4E282AC00" + repeated("2000", 13), "\xC3\xA4\xE2\x82\xAC");
    // Cut inside a character.
    expectLabel(Params().hex("LABEL", repeated("41", 31) + "C3A4"), repeated("41", 31) + "C3",
                std::string(31, 'A') + "\xEF\xBF\xBD");
}

TEST_P(InitToken, theLabelIsShownUpToItsFirstZero) {
    startWithReader();
    expectLabel(Params().hex("LABEL", "41004200"), "41004200" + repeated("2000", 14), "A");
    expectLabel(Params().hex("LABEL", "0041"), "0041" + repeated("2000", 15), "");
}

TEST_P(InitToken, labelIsComparedExactly) {
    startWithReader();
    expectLabel(Params().hex("label", "4142"), kZeroLabel, "");
}

// Its reading of the parameters

TEST_P(InitToken, withoutListItSaysSo) {
    startWithReader(officer());

    const Result result = execute(script);

    expectOutputs(result, {errorIs("80ec")});
    expectCalls({});
    expectTrace(executeHead(script, std::nullopt) + entry(method) +
                Trace{{1, message("Bad parameter : pOpParams=NULL")}} + leave(method) + executeTail(result));
}

TEST_P(InitToken, anEmptyListMissesTheKeyId) {
    startWithReader();
    expectOutputs(runScript(script, Params()), {errorIs("80ec")});
    expectCalls({});
    expectTrace(entry(method) + Trace{{1, message(keyId + " parameter not found")}} + leave(method));
}

TEST_P(InitToken, withoutKeyIdItIsRefused) {
    startWithReader();
    const Params params = Params().hex(key, kSoPinHex).hex("LABEL", "4142");

    const Result result = execute(script, params);

    expectOutputs(result, {errorIs("80ec")});
    expectCalls({});
    expectTrace(executeHead(script, params.ids()) + entry(method) +
                Trace{{1, message(keyId + " parameter not found")}} + leave(method) + executeTail(result));
}

TEST_P(InitToken, theKeyIdIsComparedExactly) {
    startWithReader();
    expectRefused(execute(script, Params().plain(keyId, "so").hex(key, kSoPinHex)),
                  message("Bad parameter " + keyId + ": so"));
    expectRefused(execute(script, Params().plain(keyId, "USER")), message("Bad parameter " + keyId + ": USER"));
    expectRefused(execute(script, Params().plain(keyId, "")), message("Bad parameter " + keyId + ": "));
    expectRefused(execute(script, officer().plain(keyId, "x")), message("Bad parameter " + keyId + ": x"));
    expectRefused(execute(script, Params().plain("init_keyid", "SO").plain("recycle_keyid", "SO")),
                  message(keyId + " parameter not found"));
}

TEST_P(InitToken, theOtherScriptsNamesDoNotServe) {
    startWithReader();
    const bool isInit = script == "init";
    const char* otherKeyId = isInit ? "RECYCLE_KEYID" : "INIT_KEYID";
    const char* otherKey = isInit ? "RECYCLE_KEY" : "INIT_KEY";
    expectRefused(execute(script, Params().plain(otherKeyId, "SO").hex(otherKey, kSoPinHex)),
                  message(keyId + " parameter not found"));
    fake.answerNext(Function::C_InitToken, CKR_OK);
    expectOutputs(execute(script, Params().plain(keyId, "SO").hex(otherKey, "xy").plain(otherKeyId, "no")), {done()});
    expectCalls({"C_InitToken(0x11, null/0, label=" + kZeroLabel + ")"});
}

TEST_P(InitToken, aKeyThatIsEmptyOrDoesNotDecodeIsRefused) {
    startWithReader();
    for (const std::string pin : {"", " ", "qwertz", "313", "3132333G"}) {
        expectRefused(execute(script, Params().plain(keyId, "SO").hex(key, pin)),
                      message(key + " parameter not found"));
    }
    expectRefused(execute(script, Params().plain(keyId, "SO").bytes(key, kSoPinHex)),
                  message(key + " parameter not found"));
}

TEST_P(InitToken, parametersAreCheckedInTheOrderOfTheList) {
    startWithReader();
    expectRefused(execute(script, Params().hex(key, "")), message(key + " parameter not found"));
    expectRefused(execute(script, Params().hex(key, "").plain(keyId, "x")), message(key + " parameter not found"));
    expectRefused(execute(script, Params().plain(keyId, "x").hex(key, "")), message("Bad parameter " + keyId + ": x"));
    expectRefused(execute(script, officer().hex(key, "")), message(key + " parameter not found"));
    expectRefused(execute(script, Params().plain(keyId, "SO").hex(key, "").hex(key, kSoPinHex)),
                  message(key + " parameter not found"));
}

TEST_P(InitToken, ofTwoKeysTheLastCounts) {
    startWithReader();
    expectOutputs(execute(script, Params().hex(key, "39393939").append(officer())), {done()});
    expectCalls({"C_InitToken(0x11, 3132333435363738, label=" + kZeroLabel + ")"});
}

TEST_P(InitToken, theKeyIsTheTextAsItStandsWhateverItsEncodingSays) {
    startWithReader();
    expectOutputs(execute(script, Params().plain(keyId, "SO").base64(key, kSoPinHex)), {done()});
    expectCalls({"C_InitToken(0x11, 3132333435363738, label=" + kZeroLabel + ")"});
}

TEST_P(InitToken, aRefusedRequestLeavesTheSessionOpen) {
    startWithSession(Role::User);
    expectRefused(execute(script, Params().hex(key, kSoPinHex)), message(keyId + " parameter not found"));
    expectRefused(execute(script, Params().plain(keyId, "SO").hex(key, "")), message(key + " parameter not found"));
    EXPECT_EQ(fake.sessionCount(), 1U);
    EXPECT_EQ(fake.login(), Role::User);
}

// Failures of the token

TEST_P(InitToken, aSessionThatCannotBeClosedEndsIt) {
    startWithSession(Role::User);
    fake.answerNext(Function::C_CloseSession, CKR_DEVICE_ERROR);
    leavesSessions = true;

    expectOutputs(runScript(script, officer()), {errorIs("80fa")});

    expectCalls({"C_CloseSession(0x1)"});
    expectTrace(entry(method) + closeSessionTrace(1, 0x30) + failed(method, "closeSession", 0x30) + leave(method));
    EXPECT_EQ(fake.userPin(), "1234");
}

TEST_P(InitToken, afterAFailedCloseTheClientHoldsNoSession) {
    startWithSession(Role::User);
    fake.answerNext(Function::C_CloseSession, CKR_SESSION_HANDLE_INVALID, 1, Fake::When::After);
    expectOutputs(execute(script, officer()), {errorIs("80ff")});
    expectOutputs(execute(script, officer()), {done()});
    expectCalls({"C_CloseSession(0x1)", "C_InitToken(0x11, 3132333435363738, label=" + kZeroLabel + ")"});
}

TEST_P(InitToken, aWrongKeyIsReportedAndNothingElse) {
    fake.setTries(Role::SecurityOfficer, 2);
    startWithSession(Role::User);

    expectOutputs(runScript(script, Params().plain(keyId, "SO").hex(key, "39393939")), {errorIs("80ee")});

    expectCalls({"C_CloseSession(0x1)", "C_InitToken(0x11, 39393939, label=" + kZeroLabel + ")"});
    expectTrace(entry(method) + closeSessionTrace(1) + initializing("") + failed(method, "C_InitToken", 0xA0) +
                leave(method));
    EXPECT_EQ(fake.userPin(), "1234");
}

TEST_P(InitToken, withoutKeyTheTokensRefusalIsReported) {
    startWithReader();
    expectOutputs(execute(script, Params().plain(keyId, "SO")), {errorIs("80f9")});
    expectTraceAt(1, failed(method, "C_InitToken", 0x07));
}

TEST_P(InitToken, anotherProgramsSessionStandsInTheWay) {
    startWithReader();
    fake.answerNext(Function::C_InitToken, CKR_SESSION_EXISTS);
    expectOutputs(execute(script, officer()), {errorIs("8102")});
    expectTraceAt(1, failed(method, "C_InitToken", 0xB6));
}

TEST_P(InitToken, withoutAResolvedReaderTheModuleAnswers) {
    start();
    expectOutputs(runScript(script, officer()), {errorIs("80e9")});
    expectCalls({"C_InitToken(none, 3132333435363738, label=" + kZeroLabel + ")"});
    expectTrace(entry(method) + closeSessionTrace(std::nullopt) + call(method, "C_InitToken") +
                in(method, "SlotID", 0xFFFFFFFF) + Trace{{4, message("--> Label=")}} +
                failed(method, "C_InitToken", 0x03) + leave(method));
}

TEST_P(InitToken, aModuleWithoutInitTokenIsReported) {
    startWithReader();
    fake.setNullEntry(Function::C_InitToken);
    expectOutputs(execute(script, officer()), {errorIs("80f4")});
    expectTraceAt(1, failed(method, "C_InitToken", 0x54));
}

TEST_P(InitToken, noTraceShowsTheKey) {
    startWithReader();
    static_cast<void>(execute(script, officer()));
    static_cast<void>(execute(script, Params().plain(keyId, "SO").hex(key, "7172737475")));
    static_cast<void>(execute(script, Params().plain(keyId, "SO").hex(key, "qwertz")));
    for (const TraceLine& line : trace().lines) {
        for (const std::string pin : {"3132333435363738", "7172737475", "qrstu", "qwertz"}) {
            EXPECT_EQ(line.text.find(pin), std::string::npos) << line.text;
        }
        EXPECT_EQ(line.dump, std::nullopt);
    }
}

} // namespace Conformance::InitTokenTests
