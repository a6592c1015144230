#include <chrono>
#include <fstream>

#include "platform/Process.h"
#include "tests/watch/WatchTest.h"

// A record that answers: what it plays, in which order, and what it says about other calls.

using namespace tests;

namespace {

/// Lines of a record, written by hand.
std::string recordLine(int n, const std::string& call, const Json& in, const Json& out, const std::string& result,
                       int process = 1) {
    return Json({{"n", n},
                 {"time", "1700000000000000000"},
                 {"duration", 5'000'000},
                 {"process", process},
                 {"thread", 1},
                 {"call", call},
                 {"in", in},
                 {"out", out},
                 {"result", result}})
               .dump() +
           "\n";
}

class Replay : public ::testing::Test {
protected:
    Replay() { forgetSettings(); }
    ~Replay() override { forgetSettings(); }

    /// Plays these lines.
    CK_FUNCTION_LIST& play(const std::string& lines, const char* mode = "loose") { return *load(lines, mode); }
    /// Null when they cannot be played.
    CK_FUNCTION_LIST* load(const std::string& lines, const char* mode = "loose") {
        m_replay.unload();
        const std::string file = folder.file("record.jsonl");
        std::ofstream(file, std::ios::binary) << lines;
        platform::setEnvironmentVariable("P11REPLAY_FILE", file);
        platform::setEnvironmentVariable("P11REPLAY_MODE", mode);
        m_replay = platform::DynamicLibrary::load(L"" REPLAY_MODULE);
        EXPECT_TRUE(m_replay.isLoaded()) << platform::DynamicLibrary::lastError();
        CK_FUNCTION_LIST* list = nullptr;
        reinterpret_cast<CK_C_GetFunctionList>(m_replay.symbol("C_GetFunctionList"))(&list);
        return list;
    }

    Folder folder;

private:
    static void forgetSettings() {
        for (const char* const name : {"P11REPLAY_MODE", "P11REPLAY_PROCESS", "P11REPLAY_DELAYS"}) {
            platform::removeEnvironmentVariable(name);
        }
    }

    platform::DynamicLibrary m_replay;
};

const std::string kOpen =
    recordLine(1, "C_OpenSession",
               {{"slot", 7}, {"flags", 6}, {"application", nullptr}, {"notify", nullptr}, {"session", Json::object()}},
               {{"session", 0x7000000012345678}}, "CKR_OK");

std::string loginLine(int n, const std::string& result) {
    return recordLine(n, "C_Login", {{"session", 0x7000000012345678}, {"userType", "CKU_USER"}, {"pin", "masked"}},
                      Json::object(), result);
}

TEST_F(Replay, TheSameResultsInTheirOrderWithHandlesOfItsOwn) {
    CK_FUNCTION_LIST& list = play(kOpen + loginLine(2, "CKR_PIN_INCORRECT") + loginLine(3, "CKR_PIN_LOCKED"), "strict");
    CK_SESSION_HANDLE session = 0;
    EXPECT_EQ(list.C_OpenSession(7, 6, nullptr, nullptr, &session), CKR_OK);
    EXPECT_EQ(session, 1U) << "a handle that every system can hold";
    CK_UTF8CHAR pin[] = "any";
    EXPECT_EQ(list.C_Login(session, CKU_USER, pin, 3), CKR_PIN_INCORRECT);
    EXPECT_EQ(list.C_Login(session, CKU_USER, pin, 2), CKR_PIN_LOCKED);
    testing::internal::CaptureStderr();
    EXPECT_EQ(list.C_Login(session, CKU_USER, pin, 2), CKR_FUNCTION_FAILED) << "the record has ended";
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(errors.starts_with("p11replay: C_Login {")) << errors;
    EXPECT_EQ(errors.find("any"), std::string::npos);
}

TEST_F(Replay, StrictRefusesAnotherOrderAndSaysWhatComesNext) {
    CK_FUNCTION_LIST& list = play(kOpen + loginLine(2, "CKR_OK"), "strict");
    testing::internal::CaptureStderr();
    EXPECT_EQ(list.C_Login(1, CKU_USER, nullptr, 0), CKR_FUNCTION_FAILED);
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_NE(errors.find("is not in the record \""), std::string::npos) << errors;
    EXPECT_NE(errors.find("\" here, where C_OpenSession is call 1; answered CKR_FUNCTION_FAILED\n"), std::string::npos)
        << errors;
    CK_SESSION_HANDLE session = 0;
    EXPECT_EQ(list.C_OpenSession(7, 6, nullptr, nullptr, &session), CKR_OK) << "the order goes on";
}

TEST_F(Replay, LooseRepeatsTheLastAnswerAndFindsTheNearestCall) {
    CK_FUNCTION_LIST& list = play(kOpen + loginLine(2, "CKR_PIN_INCORRECT") + loginLine(3, "CKR_PIN_LOCKED"));
    CK_SESSION_HANDLE session = 0;
    EXPECT_EQ(list.C_OpenSession(7, 4, nullptr, nullptr, &session), CKR_OK) << "other flags: the nearest";
    CK_UTF8CHAR pin[] = "any";
    EXPECT_EQ(list.C_Login(session, CKU_USER, pin, 3), CKR_PIN_INCORRECT);
    EXPECT_EQ(list.C_Login(session, CKU_USER, pin, 3), CKR_PIN_LOCKED);
    EXPECT_EQ(list.C_Login(session, CKU_USER, pin, 3), CKR_PIN_LOCKED);
    testing::internal::CaptureStderr();
    EXPECT_EQ(list.C_Login(session, CKU_SO, pin, 3), CKR_FUNCTION_FAILED) << "another person";
    EXPECT_EQ(list.C_OpenSession(8, 6, nullptr, nullptr, &session), CKR_FUNCTION_FAILED) << "another slot";
    EXPECT_EQ(list.C_Logout(session), CKR_FUNCTION_FAILED) << "never recorded";
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 3) << errors;
}

TEST_F(Replay, AttributesByWhatTheRecordKnowsOfTheObject) {
    const Json found = {{"type", "CKA_LABEL"}, {"length", 2}, {"value", "ab"}};
    const Json bits = {{"type", "CKA_MODULUS_BITS"}, {"length", 8}, {"value", 2048}};
    const Json lacking = {{"type", "CKA_ID"}, {"length", -1}};
    const Json asked = {{"type", "CKA_LABEL"}, {"length", 9}};
    CK_FUNCTION_LIST& list =
        play(recordLine(1, "C_FindObjects", {{"session", 1}, {"objects", {{"room", 1}}}},
                        {{"objects", {{"count", 1}, {"values", {0x123456789ABC}}}}}, "CKR_OK") +
             recordLine(2, "C_GetAttributeValue",
                        {{"session", 1}, {"object", 0x123456789ABC}, {"template", {asked, asked, asked}}},
                        {{"template", {found, bits, lacking}}}, "CKR_ATTRIBUTE_TYPE_INVALID"));
    CK_OBJECT_HANDLE object = 0;
    CK_ULONG count = 0;
    EXPECT_EQ(list.C_FindObjects(1, &object, 1, &count), CKR_OK);
    EXPECT_EQ(object, 1U);
    CK_ULONG modulusBits = 0;
    char label[2];
    CK_ATTRIBUTE wanted[] = {{CKA_MODULUS_BITS, &modulusBits, sizeof modulusBits}, {CKA_LABEL, label, 2}};
    EXPECT_EQ(list.C_GetAttributeValue(1, object, wanted, 2), CKR_OK);
    EXPECT_EQ(modulusBits, 2048U);
    EXPECT_EQ(wanted[0].ulValueLen, sizeof modulusBits);
    EXPECT_EQ(std::string(label, 2), "ab");
    CK_ATTRIBUTE few[] = {{CKA_LABEL, label, 1}};
    EXPECT_EQ(list.C_GetAttributeValue(1, object, few, 1), CKR_BUFFER_TOO_SMALL);
    CK_ATTRIBUTE missing[] = {{CKA_ID, nullptr, 0}};
    EXPECT_EQ(list.C_GetAttributeValue(1, object, missing, 1), CKR_ATTRIBUTE_TYPE_INVALID);
    EXPECT_EQ(missing[0].ulValueLen, CK_UNAVAILABLE_INFORMATION);
}

TEST_F(Replay, AKeyKeepsItsValueAsItDid) {
    const Json value = {{"type", "CKA_VALUE"}, {"length", -1}};
    const Json label = {{"type", "CKA_LABEL"}, {"length", 2}, {"value", "ab"}};
    const Json asked = {{"type", "CKA_LABEL"}, {"length", 9}};
    const auto read = [](int n, const Json& in, const Json& out, const std::string& result) {
        return recordLine(n, "C_GetAttributeValue", {{"session", 1}, {"object", 5}, {"template", Json::array({in})}},
                          {{"template", Json::array({out})}}, result);
    };
    CK_FUNCTION_LIST& list = play(recordLine(1, "C_FindObjects", {{"session", 1}, {"objects", {{"room", 1}}}},
                                             {{"objects", {{"count", 1}, {"values", {5}}}}}, "CKR_OK") +
                                  read(2, value, value, "CKR_ATTRIBUTE_SENSITIVE") + read(3, asked, label, "CKR_OK"));
    CK_OBJECT_HANDLE object = 0;
    CK_ULONG count = 0;
    EXPECT_EQ(list.C_FindObjects(1, &object, 1, &count), CKR_OK);
    char room[2];
    CK_ATTRIBUTE wanted[] = {{CKA_VALUE, nullptr, 0}, {CKA_LABEL, room, 2}};
    EXPECT_EQ(list.C_GetAttributeValue(1, object, wanted, 2), CKR_ATTRIBUTE_SENSITIVE);
    EXPECT_EQ(wanted[0].ulValueLen, CK_UNAVAILABLE_INFORMATION);
    EXPECT_EQ(std::string(room, 2), "ab");
}

TEST_F(Replay, TheNumbersOfAMechanismTellItFromAnother) {
    const auto signInit = [](int n, CK_ULONG hash, const std::string& result) {
        const Json parameter = {{"length", 5}, {"hashAlg", hash}, {"mgf", 1}, {"sLen", 20}}; // of another system
        return recordLine(
            n, "C_SignInit",
            {{"session", 1}, {"mechanism", {{"type", "CKM_RSA_PKCS_PSS"}, {"parameter", parameter}}}, {"key", 1}},
            Json::object(), result);
    };
    CK_FUNCTION_LIST& list =
        play(signInit(1, CKM_SHA_1, "CKR_MECHANISM_PARAM_INVALID") + signInit(2, CKM_SHA256, "CKR_OK"));
    CK_RSA_PKCS_PSS_PARAMS parameters{CKM_SHA256, CKG_MGF1_SHA1, 20};
    CK_MECHANISM pss{CKM_RSA_PKCS_PSS, &parameters, sizeof parameters};
    EXPECT_EQ(list.C_SignInit(1, &pss, 1), CKR_OK);
    parameters.hashAlg = CKM_SHA_1;
    EXPECT_EQ(list.C_SignInit(1, &pss, 1), CKR_MECHANISM_PARAM_INVALID);
}

TEST_F(Replay, CallsTakeAsLongAsTheyTook) {
    platform::setEnvironmentVariable("P11REPLAY_DELAYS", "1");
    CK_FUNCTION_LIST& list =
        play(recordLine(1, "C_Finalize", {{"reserved", nullptr}}, Json::object(), "CKR_OK")); // of 5 ms
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(list.C_Finalize(nullptr), CKR_OK);
    }
    // Less than 20 times 5 ms, because a system's two clocks may run apart.
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(90));
}

TEST_F(Replay, SaysNoValueOfAnObjectThatIsNotInTheRecord) {
    CK_FUNCTION_LIST& list = play(kOpen);
    char marker[] = "Secret#Marker!01";
    CK_ATTRIBUTE value{CKA_VALUE, marker, 16};
    CK_OBJECT_HANDLE object = 0;
    testing::internal::CaptureStderr();
    EXPECT_EQ(list.C_CreateObject(1, &value, 1, &object), CKR_FUNCTION_FAILED);
    EXPECT_EQ(list.C_SetAttributeValue(1, 1, &value, 1), CKR_FUNCTION_FAILED);
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_NE(errors.find("\"value\":\"masked\""), std::string::npos) << errors;
    EXPECT_EQ(errors.find("5365637265742"), std::string::npos) << errors;
}

TEST_F(Replay, WhatWasMaskedIsZeros) {
    CK_FUNCTION_LIST& list = play(recordLine(
        1, "C_Digest", {{"session", 1}, {"data", {{"length", 3}, {"value", "masked"}}}, {"digest", {{"room", 20}}}},
        {{"digest", {{"length", 20}, {"value", "masked"}}}}, "CKR_OK"));
    CK_BYTE digest[32];
    std::fill(std::begin(digest), std::end(digest), 0xAA);
    CK_ULONG length = 19;
    CK_BYTE data[3] = {};
    EXPECT_EQ(list.C_Digest(1, data, 3, digest, &length), CKR_BUFFER_TOO_SMALL);
    EXPECT_EQ(length, 20U);
    EXPECT_EQ(digest[0], 0xAA);
    EXPECT_EQ(list.C_Digest(1, data, 3, digest, &length), CKR_OK);
    EXPECT_EQ(std::string(digest, digest + 21), std::string(20, '\0') + '\xAA');
}

TEST_F(Replay, TheFirstProcessOrTheOneThatIsNamed) {
    const std::string lines = recordLine(1, "C_Finalize", {{"reserved", nullptr}}, Json::object(), "CKR_OK", 10) +
                              recordLine(1, "C_Finalize", {{"reserved", nullptr}}, Json::object(), "CKR_CANCEL", 20);
    EXPECT_EQ(play(lines).C_Finalize(nullptr), CKR_OK);
    platform::setEnvironmentVariable("P11REPLAY_PROCESS", "20");
    EXPECT_EQ(play(lines).C_Finalize(nullptr), CKR_CANCEL);
}

TEST_F(Replay, AProcessThatLoadedTheModuleTwice) {
    const auto finalize = [](int n, const std::string& result) {
        return recordLine(n, "C_Finalize", {{"reserved", nullptr}}, Json::object(), result);
    };
    // The second life counts from 1 on again.
    CK_FUNCTION_LIST& list = play(finalize(1, "CKR_OK") + finalize(3, "CKR_HOST_MEMORY") + finalize(2, "CKR_CANCEL") +
                                      finalize(1, "CKR_PIN_LOCKED") + finalize(2, "CKR_PIN_EXPIRED"),
                                  "strict");
    for (const CK_RV result : {CKR_OK, CKR_CANCEL, CKR_HOST_MEMORY, CKR_PIN_LOCKED, CKR_PIN_EXPIRED}) {
        EXPECT_EQ(list.C_Finalize(nullptr), result);
    }
}

TEST_F(Replay, FunctionsThatTheModuleLackedAreAbsent) {
    CK_FUNCTION_LIST& list = play(
        recordLine(1, "C_GetFunctionList", Json::object(), {{"version", {2, 40}}, {"absent", {"C_Sign"}}}, "CKR_OK") +
        kOpen);
    EXPECT_EQ(list.C_Sign, nullptr);
    EXPECT_NE(list.C_SignInit, nullptr);
}

TEST_F(Replay, DamagedLinesAreLeftOutAndDamagedAnswersFillNothing) {
    CK_FUNCTION_LIST& list = play(
        "{\"n\":1,\"time\"\n" + kOpen +
        recordLine(2, "C_GetTokenInfo", {{"slot", 7}, {"info", Json::object()}}, {{"info", {{"label", 5}}}}, "CKR_OK") +
        recordLine(3, "C_GetSlotList", {{"tokenPresent", 1}, {"slots", {{"room", 2}}}},
                   {{"slots", {{"count", "x"}, {"values", {"a", "b", 3}}}}}, "CKR_OK"));
    CK_TOKEN_INFO info;
    EXPECT_EQ(list.C_GetTokenInfo(7, &info), CKR_OK);
    EXPECT_EQ(info.label[0], ' ');
    CK_SLOT_ID slots[2];
    CK_ULONG count = 2;
    EXPECT_EQ(list.C_GetSlotList(CK_TRUE, slots, &count), CKR_BUFFER_TOO_SMALL);
}

TEST_F(Replay, SaysWhyNothingCanBePlayed) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(load(""), nullptr);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("p11replay: cannot read the record \""), std::string::npos);
    testing::internal::CaptureStderr();
    EXPECT_EQ(load(kOpen, "odd"), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "p11replay: P11REPLAY_MODE is neither strict nor loose\n");
}

} // namespace
