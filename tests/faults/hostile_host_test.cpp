// Hosts that send what no honest host would.

#include "tests/faults/Hostile.h"

#include <map>

namespace Faults {

namespace {

using Conformance::Result;

const char* const kStories[] = {"OneReader",
                                "FirstReader",
                                "StateOfUserWithoutSession",
                                "LoginOfUser",
                                "LogoutOfUser",
                                "ChangeOfUserPin",
                                "FirstPin",
                                "Unlock",
                                "Init",
                                "Recycle",
                                "WriteCertificateNoSession",
                                "WriteKeyPairNoSession",
                                "NameContainerNoSession",
                                "RemoveCertificateNoSession",
                                "Read1CertificatesNoSession",
                                "Read1PublicKeysNoSession",
                                "GenerateKeyPairNoSession",
                                "SignNoSession"};

const std::string kMebibyte(1U << 20U, 'A');

Params thousandUnknown() {
    Params params;
    for (int i = 0; i < 1000; ++i) {
        params.plain("UNKNOWN" + std::to_string(i), "value");
    }
    return params;
}

/// Names that look like known ones and are none.
Params oddNames() {
    return Params()
        .plain("", "nameless")
        .plain(std::string("PIN\0", 4), "FF")
        .plain(std::string("\0PIN", 4), "FF")
        .plain(std::string("PINID\0X", 7), "nobody")
        .plain("\xED\xA0\x80", "half")
        .plain("\xED\xB0\x80PIN", "half")
        .plain("\xF0\x9F\x98\x80", "whole")
        .plain("PIN ", "FF")
        .plain(" PIN", "FF")
        .plain("pinid", "nobody")
        .plain("Obj_Type", "NOTHING")
        .plain("%n%s%ws", "%n%s%ws")
        .plain(kMebibyte, "long")
        .plain("LONG", kMebibyte);
}

/// Something more in the request that makes no difference.
struct Extra {
    std::string name;
    std::function<Params(const Params&)> apply;
};

const Extra kExtras[] = {
    {"ThousandUnknown", [](const Params& params) { return Params(params).append(thousandUnknown()); }},
    {"OddNames", [](const Params& params) { return Params(params).append(oddNames()); }},
    {"UnknownEncodings",
     [](const Params& params) {
         return Params(params).add("A", -1, -1, "1").add("B", 3, 3, "1").add("C", 5, 5, "1").add("D", 1000, 1000, "1");
     }},
};

struct ExtraCase {
    std::string story;
    Extra extra;
};
void PrintTo(const ExtraCase& hostile, std::ostream* out) {
    *out << hostile.story << " " << hostile.extra.name;
}
std::vector<ExtraCase> extraCases() {
    std::vector<ExtraCase> cases;
    for (const char* story : kStories) {
        for (const Extra& extra : kExtras) {
            cases.push_back({story, extra});
        }
    }
    return cases;
}

class HostileHost : public HostileTest {};

class HostileExtra : public HostileHost, public ::testing::WithParamInterface<ExtraCase> {};

TEST_P(HostileExtra, makesNoDifference) {
    const Story story = storyNamed(GetParam().story);
    setStage(story);

    const Result result = execute(story.script, GetParam().extra.apply(story.params));

    std::vector<Output> expected = {{"ERROR", 2, 3, story.good.error}};
    expected.insert(expected.end(), story.good.outputs.begin(), story.good.outputs.end());
    expectOutputs(result, expected);
    expectCalls(story.callsFrom(0));
    expectUsable();
}

INSTANTIATE_TEST_SUITE_P(Requests, HostileExtra, ::testing::ValuesIn(extraCases()),
                         [](const auto& hostile) { return hostile.param.story + hostile.param.extra.name; });

/// Everything a request says, said again. What a script reads into a value of its own counts once; a keyword that makes
/// an entry of a template makes another one, until the template is full.
struct Repetition {
    std::string story;
    int times;
    std::string error;
};
void PrintTo(const Repetition& repetition, std::ostream* out) {
    *out << repetition.story << " " << repetition.times;
}
std::vector<Repetition> repetitions() {
    const std::map<std::string, std::pair<const char*, const char*>> kWithEntries = {
        {"WriteCertificateNoSession", {"8106", "80ec"}}, // the token takes no attribute twice
        {"WriteKeyPairNoSession", {"8106", "80ec"}},
        {"GenerateKeyPairNoSession", {"8106", "80ec"}},
        {"RemoveCertificateNoSession", {"0", "80ec"}}};
    std::vector<Repetition> cases;
    for (const char* story : kStories) {
        const auto found = kWithEntries.find(story);
        const std::string good = storyNamed(story).good.error;
        cases.push_back({story, 2, found == kWithEntries.end() ? good : found->second.first});
        cases.push_back({story, 50, found == kWithEntries.end() ? good : found->second.second});
    }
    return cases;
}

class HostileRepetition : public HostileHost, public ::testing::WithParamInterface<Repetition> {};

TEST_P(HostileRepetition, neverOverrunsAnything) {
    const Story story = storyNamed(GetParam().story);
    setStage(story);
    Params params = story.params;
    for (int i = 1; i < GetParam().times; ++i) {
        params.append(story.params);
    }

    const Result result = execute(story.script, params);

    expectError(result, GetParam().error);
    if (GetParam().error == "0") {
        std::vector<Output> expected = {{"ERROR", 2, 3, "0"}};
        expected.insert(expected.end(), story.good.outputs.begin(), story.good.outputs.end());
        expectOutputs(result, expected);
    }
    expectUsable();
}

INSTANTIATE_TEST_SUITE_P(Requests, HostileRepetition, ::testing::ValuesIn(repetitions()), [](const auto& repetition) {
    return repetition.param.story + "Times" + std::to_string(repetition.param.times);
});

/// Requests as they must not be, and what is said about them. The user's PIN is known, no session is open.
struct Request {
    std::string name;
    std::string script;
    Params params;
    std::string error; ///< empty: no output at all
};
void PrintTo(const Request& request, std::ostream* out) {
    *out << request.name;
}

std::vector<Request> nothingGiven() {
    const struct {
        const char* script;
        const char* withoutList;
        const char* withEmptyList;
    } kAnswers[] = {{"getReaderList", "0", "0"},
                    {"getPlatformIdentifiers", "80e9", "80e9"},
                    {"getCardState", "0", "0"},
                    {"getAuthenticatorState", "0", "0"},
                    {"init", "80ec", "80ec"},
                    {"recycle", "80ec", "80ec"},
                    {"initAuthenticator", "80ec", "80ec"},
                    {"changeAuthenticator", "80ec", "80ec"},
                    {"unlockAuthenticator", "80ec", "80ec"},
                    {"authenticate", "80ec", "80ec"},
                    {"deauthenticate", "80ff", "80ff"},
                    {"writeData", "80ec", "0"},
                    {"readData", "80ec", "0"},
                    {"removeData", "80ec", "80f3"},
                    {"generateKeyPair", "80ec", "80ec"},
                    {"signData", "80ec", "80ec"},
                    {"beginSynchronization", "0", "0"},
                    {"endSynchronization", "0", "0"},
                    {"", "", ""},
                    {"noSuchScript", "", ""},
                    {"getreaderlist", "", ""},
                    {"getReaderList ", "", ""}};
    std::vector<Request> requests;
    int number = 0;
    for (const auto& answer : kAnswers) {
        const std::string name = std::to_string(number++) + "_" + std::string(answer.script).substr(0, 12);
        std::string clean;
        for (const char c : name) {
            clean += c == ' ' ? '_' : c;
        }
        requests.push_back({"NullList" + clean, answer.script, Params::null(), answer.withoutList});
        requests.push_back({"EmptyList" + clean, answer.script, Params(), answer.withEmptyList});
    }
    return requests;
}

std::vector<Request> badEncodings() {
    std::vector<Request> requests;
    for (const int encoding : {-1, 3, 5, 1000}) {
        const std::string name = "Encoding" + (encoding < 0 ? std::string("Minus1") : std::to_string(encoding));
        const auto odd = [encoding](const char* id, const char* value) { return Params().add(id, encoding, 0, value); };
        // What is stored is empty; what a script reads as it stands counts all the same.
        requests.push_back(
            {name + "OfReader", "getPlatformIdentifiers", odd("READERNAME", Conformance::kReaderHex), "80e9"});
        requests.push_back({name + "OfPin", "authenticate",
                            odd("PIN", kUserPin).plain("AUTH_TYPE", "STATIC").plain("PINID", "USER"), "0"});
        requests.push_back({name + "OfStoredPin", "writeData", odd("PIN", kUserPin), "80f8"});
        requests.push_back({name + "OfRole", "getAuthenticatorState", odd("PINID", "USER"), "0"});
        requests.push_back(
            {name + "OfKeyId", "signData", odd("KEYID", "01").plain("ALGOID", kRsa).base64("DATA", "AQI="), "80f3"});
        requests.push_back(
            {name + "OfAlgorithm", "signData", odd("ALGOID", kRsa).hex("KEYID", "01").base64("DATA", "AQI="), "80f3"});
        requests.push_back({name + "OfLabel", "readData", odd("LABEL", "41").plain("OBJ_TYPE", "CERTIFICATE"), "0"});
    }
    return requests;
}

std::vector<Request> largeAndMalformed() {
    const auto write = [](const char* type) { return Params().plain("OBJ_TYPE", type); };
    const auto certificate = [&write] {
        return write("CERTIFICATE").plain("CERT_TYPE", "X_509").bytes("DATA", "3082");
    };
    const auto key = [&write](const std::string& value) {
        return write("PRIVATE_KEY").plain("ALGOID", kRsa).plain("KEYENCODING", "PKCS8.clear").base64("KEYVALUE", value);
    };
    const auto login = [](const std::string& pin) {
        return Params().plain("AUTH_TYPE", "STATIC").plain("PINID", "USER").hex("PIN", pin);
    };
    const auto sign = [](const char* algorithm, const std::string& keyId, const std::string& data) {
        return Params().plain("ALGOID", algorithm).hex("KEYID", keyId).base64("DATA", data);
    };
    const auto init = [](const std::string& pin, const std::string& label) {
        return Params().plain("INIT_KEYID", "SO").hex("INIT_KEY", pin).hex("LABEL", label);
    };
    return {
        {"PinOfAMebibyte", "authenticate", login(kMebibyte), "80ee"},
        {"PinThatIsNoHex", "authenticate", login("no digits"), "80ec"},
        {"PinOfOddDigits", "authenticate", login("123"), "80ec"},
        {"ReaderOfAMebibyte", "getPlatformIdentifiers", Params().hex("READERNAME", kMebibyte), "80e9"},
        {"ReaderOfHalfCharacters", "getPlatformIdentifiers", Params().text("READERNAME", "\xED\xA0\x80"), "80e9"},
        {"CertificateOfAMebibyte", "writeData",
         write("CERTIFICATE").plain("CERT_TYPE", "X_509").base64("DATA", kMebibyte), "0"},
        {"CertificateThatIsNoBase64", "writeData",
         write("CERTIFICATE").plain("CERT_TYPE", "X_509").base64("DATA", "***"), "80ec"},
        {"CertificateTypeOfAMebibyte", "writeData", write("CERTIFICATE").plain("CERT_TYPE", kMebibyte), "80ec"},
        {"LabelOfAMebibyte", "writeData", certificate().hex("LABEL", kMebibyte), "0"},
        {"LabelThatIsNoHex", "writeData", certificate().hex("LABEL", "label"), "0"},
        {"SubjectOfAMebibyte", "writeData", certificate().hex("SUBJECT", kMebibyte), "0"},
        {"CategoryOfAMebibyte", "writeData", certificate().plain("CERT_CATEGORY", kMebibyte), "80ec"},
        {"KeyOfAMebibyte", "writeData", key(kMebibyte), "80ec"},
        {"KeyThatIsNoBase64", "writeData", key("A"), "80ec"},
        {"KeyThatIsEmpty", "writeData", key(""), "80ec"},
        {"ObjectTypeOfAMebibyte", "writeData", write(kMebibyte.c_str()), "80ec"},
        {"ObjectTypeOfRemovalOfAMebibyte", "removeData", write(kMebibyte.c_str()), "80ec"},
        {"ObjectTypeOfReadingOfAMebibyte", "readData", write(kMebibyte.c_str()), "80ec"},
        {"SearchForAMebibyte", "readData", write("CERTIFICATE").hex("ID", kMebibyte), "0"},
        {"RemovalOfAMebibyte", "removeData", write("CERTIFICATE").hex("LABEL", kMebibyte), "80f3"},
        {"ContainerOfAMebibyte", "writeData",
         write("CONTAINER_NAME").hex("KEYID", "01").hex("CONTAINER_NAME", kMebibyte), "80f3"},
        {"SignatureByAKeyOfAMebibyte", "signData", sign(kRsa, kMebibyte, "AQI="), "80f3"},
        {"SignatureOfAMebibyte", "signData", sign(kRsa, "01", kMebibyte), "80f3"},
        {"AlgorithmOfAMebibyte", "signData", sign(kMebibyte.c_str(), "01", "AQI="), "80ec"},
        {"SignatureOfNoBase64", "signData", sign(kRsa, "01", "*"), "80ec"},
        {"InitLabelOfAMebibyte", "init", init(kSoPin, kMebibyte), "0"},
        {"InitKeyOfAMebibyte", "init", init(kMebibyte, "41"), "80ee"},
        {"InitKeyThatIsNoHex", "init", init("zz", "41"), "80ec"},
        {"KeySizeOfAMebibyte", "generateKeyPair", Params().plain("ALGOID", kRsa).plain("KEYSIZE", kMebibyte), "80ec"},
        {"KeySizeThatIsNegative", "generateKeyPair", Params().plain("ALGOID", kRsa).plain("KEYSIZE", "-1"), "80ec"},
        {"ExponentThatIsNoBase64", "generateKeyPair",
         Params().plain("ALGOID", kRsa).plain("KEYSIZE", "1024").base64("PUBLICEXPONENT", "!"), "80ec"},
        {"NewPinOfAMebibyte", "changeAuthenticator",
         Params().plain("PINID", "USER").hex("OLD_PIN", kUserPin).hex("NEW_PIN", kMebibyte), "80fc"},
        {"UnlockKeyThatIsNoHex", "unlockAuthenticator",
         Params().plain("PINID", "USER").hex("PIN", kUserPin).plain("UNLOCK_TYPE", "STATIC").hex("UNLOCK_KEY", "zz"),
         "80ec"},
        {"AuthTypeOfAMebibyte", "authenticate", Params().plain("AUTH_TYPE", kMebibyte), "80ec"},
    };
}

class HostileRequest : public HostileHost, public ::testing::WithParamInterface<Request> {};

TEST_P(HostileRequest, endsInAClearCode) {
    plugin = begin(Start::NoSession);
    const Result result = execute(GetParam().script, GetParam().params);
    if (GetParam().error.empty()) {
        expectOutputs(result, {});
    } else {
        expectError(result, GetParam().error);
    }
    expectUsable();
}

const auto kNameOf = [](const auto& request) { return request.param.name; };
INSTANTIATE_TEST_SUITE_P(Nothing, HostileRequest, ::testing::ValuesIn(nothingGiven()), kNameOf);
INSTANTIATE_TEST_SUITE_P(Encodings, HostileRequest, ::testing::ValuesIn(badEncodings()), kNameOf);
INSTANTIATE_TEST_SUITE_P(Values, HostileRequest, ::testing::ValuesIn(largeAndMalformed()), kNameOf);

TEST_F(HostileHost, sendsNoOperation) {
    plugin = begin(Start::NoSession);
    EXPECT_TRUE(plugin.executeNull().null);
    expectUsable();
}

TEST_F(HostileHost, sendsOperationsWithOddNames) {
    plugin = begin(Start::NoSession);
    for (const std::string& name : {std::string(), std::string("\0getReaderList", 14), kMebibyte, std::string("%n%ws"),
                                    std::string("\xED\xA0\x80")}) {
        expectOutputs(plugin.execute(name, Conformance::kScriptType, name, thousandUnknown()), {});
        expectOutputs(plugin.execute(name, name, "getReaderList", oddNames()), {});
    }
    expectUsable();
}

TEST_F(HostileHost, namesARoleThatIsNone) {
    plugin = begin(Start::NoSession);
    for (const std::string& role : {std::string(), std::string("so"), std::string("USER\0", 5), kMebibyte}) {
        const Result result = execute("getAuthenticatorState", Params().plain("PINID", role));
        ASSERT_TRUE(result.failure);
        EXPECT_EQ(result.failure->type, "ClientOperationException");
        EXPECT_EQ(result.failure->code, "80ec");
        expectUsable();
    }
}

TEST_F(HostileHost, initialisesWithEverythingOdd) {
    plugin = Conformance::Executor(creation());
    ASSERT_TRUE(plugin);
    EXPECT_EQ(plugin.initialize(thousandUnknown(), oddNames()), std::nullopt);
    plugin.terminate();
    const auto failure = plugin.initialize(oddNames().plain("PINID", kMebibyte));
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->code, "80ec");
    EXPECT_EQ(plugin.initialize(Params().hex("PIN", kMebibyte).hex("readerName", kMebibyte)), std::nullopt);
    expectUsable();
}

TEST_F(HostileHost, createsWithEverythingOdd) {
    EXPECT_FALSE(Conformance::Executor(Params::null()));
    EXPECT_FALSE(Conformance::Executor(Params()));
    EXPECT_FALSE(Conformance::Executor(oddNames()));
    EXPECT_FALSE(Conformance::Executor(Params().plain("DLLNAME", "")));
    EXPECT_FALSE(Conformance::Executor(Params().plain("DLLNAME", kMebibyte)));
    EXPECT_FALSE(Conformance::Executor(Params().plain("DLLNAME", std::string("\0lib", 4))));
    EXPECT_FALSE(Conformance::Executor(Params().plain("DLLNAME", "\xED\xA0\x80.so")));
    plugin = Conformance::Executor(creation().append(thousandUnknown()).plain("readerPrefix", kMebibyte));
    ASSERT_TRUE(plugin);
    EXPECT_EQ(plugin.initialize(), std::nullopt);
    const Result result = execute("getReaderList");
    EXPECT_EQ(result.value("READERS").value_or("").size(), (2U << 20U) + 26);
    expectUsable();
}

TEST_F(HostileHost, callsInAnyOrder) {
    plugin = Conformance::Executor(creation());
    ASSERT_TRUE(plugin);
    plugin.terminate();
    plugin.terminate();
    expectError(execute("getReaderList"), "0");
    EXPECT_EQ(plugin.initialize(), std::nullopt);
    EXPECT_TRUE(plugin.initialize());
    plugin.terminate();
    expectError(execute("getCardState"), "0");
    EXPECT_EQ(plugin.initialize(), std::nullopt);
    expectUsable();
}

} // namespace

} // namespace Faults
