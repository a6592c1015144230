// The host with the real plug-in on a throw-away token.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/host/posix/SoftTokenFolder.h"

namespace tests {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;

class SoftToken : public SoftTokenFolder {};

TEST_F(SoftToken, infoNamesTheModule) {
    const Outcome info = host({"info", "--json"});
    ASSERT_EQ(info.status, 0) << info.errors;
    const json values = json::parse(info.output);
    EXPECT_EQ(values.at("type"), "client.p11.Larkspur");
    EXPECT_EQ(values.at("validate"), true);
    EXPECT_EQ(values.at("isLocal"), true);
    EXPECT_EQ(values.at("supportedScripts").size(), 18U);
    EXPECT_THAT(values.at("description"), HasSubstr(std::string("Library Name=") + SOFTHSM_MODULE));
}

TEST_F(SoftToken, aTokenIsInitialisedUsedAndShown) {
    const Outcome before = host({"readers", "--json"});
    ASSERT_EQ(before.status, 0) << before.errors;
    const std::string blank = json::parse(before.output).at("readers").at(0).at("reader");
    EXPECT_THAT(blank, HasSubstr("SoftHSM slot ID 0x"));

    const Outcome init =
        host({"--reader", blank, "init", "INIT_KEYID=SO", "INIT_KEY=text:so-pin", "LABEL=text:demo token"});
    ASSERT_EQ(init.status, 0) << init.errors;
    EXPECT_EQ(init.output, "done\n");

    json ready;
    const json after = json::parse(host({"readers", "--json"}).output);
    for (const json& reader : after.at("readers")) {
        if (reader.at("serial") != "") {
            ready = reader;
        }
    }
    ASSERT_FALSE(ready.is_null());
    EXPECT_EQ(ready.at("state"), "no-user-pin");

    const std::string name = ready.at("reader");
    const Outcome pin =
        host({"--reader", name, "initAuthenticator", "INIT_KEYID=SO", "INIT_KEY=text:so-pin", "PINID=USER", "PIN=fd:0"},
             {}, "1234\n");
    ASSERT_EQ(pin.status, 0) << pin.errors;
    const Words login = {"--reader", name, "authenticate", "AUTH_TYPE=STATIC", "PINID=USER"};
    Words right = login;
    right.push_back("PIN=text:1234");
    EXPECT_EQ(host(right).status, 0);
    Words wrong = login;
    wrong.push_back("PIN=text:9999");
    const Outcome refused = host(wrong);
    EXPECT_EQ(refused.status, 5);
    EXPECT_THAT(refused.errors,
                HasSubstr("p11host: authenticate failed: CKR_PIN_INCORRECT: the PIN is wrong (33006).\n"));
    EXPECT_EQ(host({"--reader", name, "signData", "ALGOID=1.2.840.113549.1.1.1", "KEYID=hex:01",
                    "DATA=base64:AQI=", "PIN=text:1234"})
                  .status,
              4);
    EXPECT_EQ(host({"--reader", name, "--raw", "authenticate"}).status, 8);
    EXPECT_EQ(host({"--reader", "no such reader", "getCardState"}).status, 1);
}

TEST_F(SoftToken, aJobDrivesTheRealPlugin) {
    const Outcome job = host({"run", "-"}, {}, R"({"call":"newInstance"}
{"call":"getType"}
{"call":"initialize"}
{"call":"initialize"}
{"call":"execute","operation":{"script":"beginSynchronization"}}
)");
    EXPECT_EQ(job.output, R"({"step":0,"call":"newInstance","as":"default","executor":true}
{"step":1,"call":"getType","on":"default","value":"client.p11.Larkspur"}
{"step":2,"call":"initialize","on":"default","ok":true}
{"step":3,"call":"initialize","on":"default","exception":{"type":"ClientOperationException","code":"80ec","message":"Plugin not terminated"}}
{"step":4,"call":"execute","on":"default","response":{"id":"4","parameters":[{"id":"ERROR","encoding":2,"type":3,"value":"0"}]}}
)");
    EXPECT_EQ(job.status, 8) << "the code of the exception is that of a bad parameter";
}

TEST_F(SoftToken, adviceNamesTheResultThatTheTokenGave) {
    const json before = json::parse(host({"readers", "--json"}).output);
    const std::string blank = before.at("readers").at(0).at("reader");
    EXPECT_THAT(host({"--reader", blank, "getAuthenticatorState"}).errors,
                HasSubstr("CKR_TOKEN_NOT_RECOGNIZED: the token is blank, or this module does not know it (33002).\n"
                          "  Run \"init\" on a blank token"));
    EXPECT_THAT(host({"--reader", blank, "--raw", "init", "INIT_KEYID=SO"}).errors,
                HasSubstr("CKR_ARGUMENTS_BAD: a PIN that this script needs was not given"));
    ASSERT_EQ(host({"--reader", blank, "init", "INIT_KEYID=SO", "INIT_KEY=text:so-pin"}).status, 0);
    std::string name;
    const json after = json::parse(host({"readers", "--json"}).output);
    for (const json& reader : after.at("readers")) {
        name = reader.at("serial") == "" ? name : reader.at("reader").get<std::string>();
    }
    EXPECT_THAT(host({"--reader", name, "authenticate", "AUTH_TYPE=STATIC", "PIN=text:1234"}).errors,
                HasSubstr("CKR_USER_PIN_NOT_INITIALIZED: no user PIN is set (33013).\n  Run \"initAuthenticator\""));
}

TEST_F(SoftToken, removalsAreCountedWhereverTheTypeStands) {
    std::string name = json::parse(host({"readers", "--json"}).output).at("readers").at(0).at("reader");
    ASSERT_EQ(host({"--reader", name, "init", "INIT_KEYID=SO", "INIT_KEY=text:so-pin", "LABEL=text:t"}).status, 0);
    const json after = json::parse(host({"readers", "--json"}).output);
    for (const json& reader : after.at("readers")) {
        name = reader.at("serial") == "" ? name : reader.at("reader").get<std::string>();
    }
    ASSERT_EQ(host({"--reader", name, "initAuthenticator", "INIT_KEYID=SO", "INIT_KEY=text:so-pin", "PINID=USER",
                    "PIN=text:1234"})
                  .status,
              0);
    const Words key = {"--reader",
                       name,
                       "generateKeyPair",
                       "ALGOID=1.2.840.113549.1.1.1",
                       "KEYSIZE=1024",
                       "PIN=text:1234",
                       "PUBLICEXPONENT=base64:AQAB"};
    for (const char* id : {"ID=hex:01", "ID=hex:02"}) {
        Words words = key;
        words.emplace_back(id);
        ASSERT_EQ(host(words).status, 0);
    }
    const Outcome none = host({"--reader", name, "removeData", "PIN=text:1234", "ID=hex:01", "OBJ_TYPE=CERTIFICATE"});
    EXPECT_EQ(none.status, 4) << "the type is passed first, so that it counts";
    const Outcome one =
        host({"--reader", name, "--json", "removeData", "PIN=text:1234", "ID=hex:01", "OBJ_TYPE=KEY_PAIR"});
    EXPECT_EQ(one.status, 0) << one.errors;
    EXPECT_EQ(json::parse(one.output).at("removed"), 2);
    EXPECT_EQ(host({"--reader", name, "removeData", "PIN=text:1234", "--all", "--yes"}).output, "2 objects removed\n");
}

TEST_F(SoftToken, aModuleThatIsMissingIsStatusThree) {
    const Outcome missing = run({hostProgram(), "--module", "./no-such-module.so", "readers"});
    EXPECT_EQ(missing.status, 3);
    EXPECT_EQ(missing.output, "") << "what the plug-in prints itself stays off standard output";
    EXPECT_THAT(missing.errors, HasSubstr("/no-such-module.so : failed"));
}

TEST_F(SoftToken, theTraceIsJsonLinesInAFile) {
    const File trace("");
    ASSERT_EQ(host({"--trace", trace.path(), "--trace-levels", "8", "getCardState"}).status, 0);
    EXPECT_THAT(trace.content(), HasSubstr("\"level\":8,\"text\":\"PKCS11Client::getCardState\"}"));
    EXPECT_EQ(trace.content().find("\"level\":16"), std::string::npos);
    const Outcome shown = host({"--trace", "-", "getCardState"});
    EXPECT_THAT(shown.errors, HasSubstr("PKCS11Client::getCardState"));
    EXPECT_EQ(shown.output, "CARDSTATE: 1 (usable)\n");
    EXPECT_EQ(host({"--trace", "no/such/folder/trace", "getCardState"}).status, 2);
}

} // namespace
} // namespace tests
