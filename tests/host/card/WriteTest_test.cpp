// The write test of p11host doctor on the scripted module: what it refuses, what it says of a module that does
// something else than it should, and what it leaves. The scripted module does not make real signatures, so signing
// always fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

#include <nlohmann/json.hpp>

#include "tests/host/Child.h"

namespace tests {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::Not;

struct Ending {
    json line;
    int status;
    std::string errors;
    std::string trace;
};

/// Nothing of the person's own who runs the tests.
Environment environmentOf(const std::string& token) {
    return {{"P11HOST_TEST_TOKEN", token}, {"P11HOST_TEST_PIN", "1234"}, {"P11HOST_MODULE", beside(SCRIPTED_MODULE)},
            {"P11HOST_READER", ""},        {"P11HOST_TOKEN", ""},        {"P11HOST_URI", ""}};
}

Ending examined(const std::string& token, const Words& words, Environment more = {}) {
    const File trace("");
    Words arguments = {hostProgram(), "--json", "--trace", trace.path(), "doctor", "--write-test", "--yes"};
    arguments.insert(arguments.end(), words.begin(), words.end());
    more.merge(environmentOf(token));
    const Outcome outcome = run(arguments, "", more);
    return {json::parse(outcome.output, nullptr, false), outcome.status, outcome.errors, trace.content()};
}

const Words kNamed = {"--token", "Fake Token", "--pin", "env:P11HOST_TEST_PIN"};

Ending writeTest(const std::string& token) {
    Ending ended = examined(token, kNamed);
    EXPECT_TRUE(ended.line.is_object()) << ended.errors;
    ended.line = ended.line.is_object() ? ended.line : json::object();
    return ended;
}

/// The findings of the write test, a line each, with their remedies.
std::string findings(const json& report) {
    std::string text;
    for (const json& finding : report.at("findings")) {
        const std::string said = finding.at("text");
        text += said.rfind("write test: ", 0) == 0 ? said + " | " + finding.at("remedy").get<std::string>() + "\n" : "";
    }
    return text;
}

// Whatever is answered: nobody's card is locked by a test.
TEST(WriteTest, neverSpendsTheLastTry) {
    const Ending last = examined("user=1", kNamed);
    EXPECT_EQ(last.status, 9);
    EXPECT_THAT(last.line.at("error").at("reason").get<std::string>(), HasSubstr("one try is left; no PIN was sent"));
    EXPECT_THAT(last.line.at("error").at("remedy").get<std::string>(), HasSubstr("in another command"));
    EXPECT_THAT(last.trace, Not(HasSubstr("C_Login")));
    EXPECT_EQ(examined("user=1", with(kNamed, {"--last-try", "go"})).status, 2) << "there is no such option";
    const Ending locked = examined("user=0", kNamed);
    EXPECT_EQ(locked.status, 6);
    EXPECT_THAT(locked.trace, Not(HasSubstr("C_Login")));
}

// The environment's token may be another one than the person means.
TEST(WriteTest, wantsTheTokenOnTheCommandLine) {
    const Words pin = {"--pin", "env:P11HOST_TEST_PIN"};
    for (const auto& [variable, value] : Environment{
             {"P11HOST_TOKEN", "Fake Token"}, {"P11HOST_URI", "pkcs11:token=Fake%20Token"}, {"P11HOST_READER", "x"}}) {
        const Ending ended = examined("", pin, {{variable, value}});
        EXPECT_EQ(ended.status, 2) << variable;
        EXPECT_THAT(ended.errors, HasSubstr("name it on the command line"));
    }
    EXPECT_EQ(examined("", with(pin, {"--uri", "pkcs11:object=x"})).status, 2);
    EXPECT_EQ(examined("user=0", with(pin, {"--uri", "pkcs11:token=Fake%20Token"})).status, 6) << "the token is found";
}

// A step that the module refuses is said.
TEST(WriteTest, saysWhatTheModuleRefused) {
    const Ending refused = writeTest("C_GenerateKeyPair=0x30");
    EXPECT_EQ(refused.status, 1);
    const json step = refused.line.at("writeTest").at("steps").at(0);
    EXPECT_EQ(step.at("done"), false);
    EXPECT_EQ(step.at("result"), "CKR_DEVICE_ERROR");
    EXPECT_EQ(refused.line.at("writeTest").at("left"), json::array());
    EXPECT_EQ(refused.line.at("verdict"), "faults");
}

TEST(WriteTest, namesStepsThatFailInTheirOrder) {
    const Ending ended = writeTest("C_CreateObject=0x30");
    const std::string text = findings(ended.line);
    EXPECT_LT(text.find("\"sign, and verify the signature\" failed"),
              text.find("\"write a certificate and read it back\" failed: CKR_DEVICE_ERROR"));
    EXPECT_EQ(ended.line.at("writeTest").at("left"), json::array());
}

// A public key that cannot be one is a step that failed: the pair goes all the same.
TEST(WriteTest, removesAKeyWithAnOddShape) {
    const Ending ended = writeTest("even-modulus");
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(findings(ended.line),
                HasSubstr("\"generate a key pair of 2048 bits\" failed: the public key of the test: "));
    EXPECT_EQ(ended.line.at("writeTest").at("left"), json::array());
}

// What has another identifier may not be the test's alone: it is named and stays.
TEST(WriteTest, namesAPairWithAnotherIdentifier) {
    const Ending ended = writeTest("own-id");
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.line.at("verdict"), "faults");
    EXPECT_EQ(ended.line.at("writeTest").at("left").size(), 2U);
    EXPECT_THAT(findings(ended.line), HasSubstr("not removed: private-key \"p11host write test\", identifier ABCD"));
    EXPECT_THAT(findings(ended.line), HasSubstr("p11host remove --id ABCD"));
}

TEST(WriteTest, namesWhatTheTokenKeeps) {
    const Ending ended = writeTest("C_DestroyObject=0x30");
    const std::string id = ended.line.at("writeTest").at("id");
    EXPECT_EQ(ended.line.at("verdict"), "faults");
    EXPECT_THAT(findings(ended.line), HasSubstr("p11host remove --id " + id));
    EXPECT_GE(ended.line.at("writeTest").at("left").size(), 2U);
}

TEST(WriteTest, saysThatItCouldNotLook) {
    const Ending ended = writeTest("blind-at-the-end");
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.line.at("writeTest").at("left"), nullptr);
    EXPECT_THAT(findings(ended.line), HasSubstr("could not be looked at"));
}

// What ended another process would end this one.
TEST(WriteTest, isNotMadeWithAModuleThatCrashes) {
    const Ending ended = examined("", {"--module", beside(DOCTOR_MODULE), "--reader", "Reader of the tests"},
                                  {{"DOCTOR_FAULT", "exit"}});
    EXPECT_EQ(ended.status, 9) << ended.errors;
    EXPECT_THAT(ended.errors, HasSubstr("the module ended the process in C_GetSlotInfo"));
    EXPECT_THAT(ended.errors, HasSubstr("nothing was written"));
}

// The report is written before each step, in which the module may end everything.
TEST(WriteTest, leavesAReportWhenTheModuleEndsTheProcess) {
    const File name("");
    const std::filesystem::path folder = name.path() + ".report";
    const Ending ended = examined("exit-in-generate", with(kNamed, {"--out", folder.string()}));
    EXPECT_EQ(ended.status, 1);
    const json report = json::parse(contentOf(folder / "report.json"), nullptr, false);
    ASSERT_TRUE(report.is_object()) << ended.errors;
    EXPECT_EQ(report.at("verdict"), "faults");
    EXPECT_EQ(report.at("underWay"), "write test: generate a key pair of 2048 bits");
    const std::string id = report.at("writeTest").at("id");
    EXPECT_THAT(findings(report), HasSubstr("p11host remove --id " + id));
    EXPECT_THAT(contentOf(folder / "report.txt"), HasSubstr("p11host ended in the step"));
    EXPECT_THAT(contentOf(folder / "record.jsonl"), HasSubstr("\"C_Login\""));
    std::filesystem::remove_all(folder);
}

// What was begun may be on the token: the person reads what it is.
TEST(WriteTest, endsWhenInterruptedAndSaysWhatMayBeLeft) {
    const File begun("");
    const std::filesystem::path folder = begun.path() + ".report";
    Environment environment = environmentOf("wait-in-generate");
    environment["P11HOST_TEST_WAIT"] = begun.path();
    Words arguments = {hostProgram(), "doctor", "--write-test", "--yes", "--out", folder.string()};
    Child child(with(arguments, kNamed), environment, Child::Console::Own);
    ASSERT_TRUE(waitFor(begun, "begun"));
    ASSERT_TRUE(child.interrupt(SIGINT));
    std::filesystem::remove(begun.path());
    EXPECT_EQ(child.wait(), 130);
    const json report = json::parse(contentOf(folder / "report.json"), nullptr, false);
    ASSERT_TRUE(report.is_object()) << child.errors();
    const std::string removal = "p11host remove --id " + report.at("writeTest").at("id").get<std::string>();
    EXPECT_EQ(report.at("verdict"), "faults");
    EXPECT_THAT(findings(report), HasSubstr(removal));
    EXPECT_THAT(child.errors(), HasSubstr("Not done yet: the test credential is removed: " + removal));
    EXPECT_EQ(report.at("writeTest").at("steps").size(), 1U) << "nothing more was begun";
    std::filesystem::remove_all(folder);
}

// The identifier is the certificate's serial number, too: positive, and otherwise of any bytes.
TEST(WriteTest, makesAnIdentifierOfItsOwn) {
    std::string rest;
    for (int i = 0; i < 3; ++i) { // by chance, not even one of 45 bytes is above 7F in one of 10^13 runs
        const std::string id = writeTest("C_GenerateKeyPair=0x30").line.at("writeTest").at("id");
        ASSERT_EQ(id.size(), 32U);
        EXPECT_LT(id[0], '8');
        for (std::size_t at = 2; at < id.size(); at += 2) {
            rest += id[at];
        }
    }
    EXPECT_NE(rest.find_first_of("89ABCDEF"), std::string::npos) << rest;
}

// Such as on a full disk; here a folder has the name of the file that the report is written to at first.
TEST(WriteTest, writesNothingToTheTokenWhenTheReportCannotBeWritten) {
    const File name("");
    const std::filesystem::path folder = name.path() + ".report";
    std::filesystem::create_directories(folder / "report.json.new" / "full");
    const Ending ended = examined("", with(kNamed, {"--out", folder.string()}));
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.errors, HasSubstr("report.json\" cannot be written"));
    EXPECT_THAT(ended.errors, HasSubstr("Fake Token")) << "the report is shown";
    EXPECT_THAT(ended.trace, Not(HasSubstr("C_Login")));
    std::filesystem::remove_all(folder);
}

// Whatever fails behind the examination: its report is there.
TEST(WriteTest, writesTheReportWhenThePinCannotBeRead) {
    const File name("");
    const std::filesystem::path folder = name.path() + ".report";
    const Ending ended =
        examined("", {"--token", "Fake Token", "--pin", "env:P11HOST_TEST_NOT_SET", "--out", folder.string()});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.errors, HasSubstr("P11HOST_TEST_NOT_SET"));
    EXPECT_TRUE(json::accept(contentOf(folder / "report.json")));
    EXPECT_THAT(contentOf(folder / "report.txt"), HasSubstr("Fake Token"));
    std::filesystem::remove_all(folder);
}

} // namespace
} // namespace tests
