#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/host/Child.h"

namespace tests {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

Outcome runArguments(Words arguments, const std::string& input = "", const Environment& environment = {}) {
    arguments.insert(arguments.begin(), hostProgram());
    return run(arguments, input, environment);
}

Outcome sign(Words arguments, const Environment& environment = {}) {
    arguments.insert(arguments.begin(), {"--plugin", doublePlugin(), "--module", "m", "--json", "--raw", "writeData"});
    return runArguments(arguments, "", environment);
}

std::string answered(const std::string& parameters) {
    return R"({"script":"writeData","response":{"id":"0","parameters":[{"id":"ERROR","encoding":2,"type":3,"value":"0"})" +
           parameters + "]}}\n";
}

TEST(Arguments, helpGoesToStandardOutputAndNamesEveryCommandAndStatus) {
    const Outcome help = runArguments({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.errors, "");
    for (const char* word : {"--plugin", "--module", "--reader-prefix", "--reader", "--trace", "--trace-levels",
                             "--json", "readers", "info", "scripts", "run", "getReaderList", "writeData",
                             "endSynchronization", "prompt:", "a parameter is missing or bad"}) {
        EXPECT_THAT(help.output, HasSubstr(word));
    }
}

TEST(Arguments, helpAndTheVersionHaveSeveralNames) {
    EXPECT_EQ(runArguments({"help"}).output, runArguments({"--help"}).output);
    EXPECT_EQ(runArguments({"help", "signData"}).output, runArguments({"signData", "-h"}).output);
    EXPECT_EQ(runArguments({"-V"}).output, runArguments({"--version"}).output);
    EXPECT_THAT(runArguments({"-V"}).output, ::testing::StartsWith("p11host "));
    const Outcome unknown = runArguments({"help", "sigData"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_EQ(unknown.errors, "p11host: there is no command \"sigData\" (did you mean \"signData\"?).\n");
    const Outcome nothing = runArguments({});
    EXPECT_EQ(nothing.status, 2);
    EXPECT_EQ(nothing.errors.substr(0, runArguments({"help"}).output.size()), runArguments({"help"}).output);
}

TEST(Arguments, aValueThatNamesACommandIsNoSecondCommand) {
    const Outcome list = runArguments({"--reader", "readers", "scripts"});
    EXPECT_EQ(list.status, 0);
    EXPECT_EQ(list.output, runArguments({"scripts"}).output);
    const Outcome wrong = runArguments({"--reader", "readers", "sigData"});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_EQ(wrong.errors, "p11host: there is no command \"sigData\" (did you mean \"signData\"?).\n"
                            "  \"p11host --help\" shows what is right.\n");
    const Outcome two = runArguments({"scripts", "readers"});
    EXPECT_EQ(two.status, 2);
    EXPECT_EQ(two.errors, "p11host: \"scripts\" takes no such argument.\n"
                          "  \"p11host scripts --help\" shows what is right.\n");
}

TEST(Arguments, helpOfAScriptListsParametersOutputsAndErrors) {
    const Outcome help = runArguments({"signData", "--help"});
    EXPECT_EQ(help.status, 0);
    for (const char* word : {"ALGOID=1.2.840.113549.1.1.1", "KEYID=hex:", "DATA=file:", "PIN=prompt:", "SIGNEDDATA",
                             "33011 (status 4)", "secret:PATH"}) {
        EXPECT_THAT(help.output, HasSubstr(word));
    }
}

TEST(Arguments, scriptsListsAllInOrder) {
    const Outcome list = runArguments({"scripts", "--json"});
    EXPECT_EQ(list.status, 0);
    std::vector<std::string> names;
    const nlohmann::json answer = nlohmann::json::parse(list.output);
    for (const auto& script : answer.at("scripts")) {
        names.push_back(script.at("name"));
    }
    EXPECT_EQ(names, (std::vector<std::string>{
                         "getReaderList", "getPlatformIdentifiers", "getCardState", "getAuthenticatorState", "init",
                         "recycle", "initAuthenticator", "changeAuthenticator", "unlockAuthenticator", "authenticate",
                         "deauthenticate", "writeData", "readData", "removeData", "generateKeyPair", "signData",
                         "beginSynchronization", "endSynchronization"}));
}

TEST(Arguments, unknownCommandIsUsageAndSuggestsTheRightOne) {
    const Outcome wrong = runArguments({"redaers"});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_EQ(wrong.output, "");
    EXPECT_EQ(wrong.errors, "p11host: there is no command \"redaers\" (did you mean \"readers\"?).\n"
                            "  \"p11host --help\" shows what is right.\n");
}

TEST(Arguments, missingCommandAndUnknownOptionAreUsage) {
    EXPECT_EQ(runArguments({}).status, 2);
    const Outcome option = runArguments({"readers", "--modul=secret"});
    EXPECT_EQ(option.status, 2);
    EXPECT_THAT(option.errors, HasSubstr("there is no option \"--modul\""));
    EXPECT_THAT(option.errors, Not(HasSubstr("secret")));
}

TEST(Arguments, missingModuleIsUsage) {
    const Outcome wrong = runArguments({"--plugin", doublePlugin(), "readers"}, "", {{"P11HOST_MODULE", ""}});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_EQ(wrong.errors, "p11host: no PKCS#11 module is named; give --module FILE, or set P11HOST_MODULE\n"
                            "  \"p11host readers --help\" shows what is right.\n");
}

TEST(Arguments, moduleComesFromTheEnvironment) {
    const File calls("");
    const Outcome fine = runArguments({"--plugin", doublePlugin(), "getCardState"}, "",
                                      {{"P11HOST_MODULE", "from-env"}, {"P11HOST_TEST_CALLS", calls.path()}});
    EXPECT_EQ(fine.status, 0);
    EXPECT_THAT(calls.content(), HasSubstr("newInstance DLLNAME=from-env\n"));
}

TEST(Arguments, everyKindIsPassedWithItsEncodingAndType) {
    const File bytes("\x01\x02", ".bin");
    const Outcome fine = sign(
        {"A=plain=text", "B=text:\xC3\xA4", "C=hex:0aFF", "D=base64:AQI=", "E=file:" + bytes.path(), "F=", "G=c:/x"});
    EXPECT_EQ(fine.status, 0);
    EXPECT_EQ(fine.output, answered(R"(,{"id":"A","encoding":2,"type":3,"value":"plain=text"},)"
                                    R"({"id":"B","encoding":4,"type":0,"value":"C3A4"},)"
                                    R"({"id":"C","encoding":4,"type":0,"value":"0aFF"},)"
                                    R"({"id":"D","encoding":1,"type":2,"value":"AQI="},)"
                                    R"({"id":"E","encoding":1,"type":2,"value":"AQI="},)"
                                    R"({"id":"F","encoding":2,"type":3,"value":""},)"
                                    R"({"id":"G","encoding":2,"type":3,"value":"c:/x"})"));
}

TEST(Arguments, secretsComeFromEnvironmentAndFilesAndArePassedAsText) {
    const File secret("12\xC3\xA4\r\nsecond line\n");
    const Outcome fine = sign({"PIN=env:TEST_PIN", "NEW_PIN=secret:" + secret.path()}, {{"TEST_PIN", "1234"}});
    EXPECT_EQ(fine.status, 0);
    EXPECT_EQ(fine.output, answered(R"(,{"id":"PIN","encoding":4,"type":0,"value":"31323334"},)"
                                    R"({"id":"NEW_PIN","encoding":4,"type":0,"value":"3132C3A4"})"));
}

TEST(Arguments, aSecretComesFromStandardInputAsADescriptor) {
    const Outcome fine = runArguments(
        {"--plugin", doublePlugin(), "--module", "m", "--json", "--raw", "writeData", "PIN=fd:0"}, "1234\n");
    EXPECT_EQ(fine.output, answered(R"(,{"id":"PIN","encoding":4,"type":0,"value":"31323334"})"));
}

TEST(Arguments, fileNamesAreUtf8) {
    const File bytes("\x01\x02", "-\xC3\xA4\xE2\x82\xAC");
    EXPECT_EQ(sign({"E=file:" + bytes.path()}).output, answered(R"(,{"id":"E","encoding":1,"type":2,"value":"AQI="})"));
}

TEST(Arguments, aMisspeltKindSaysWhichAndWhatWouldBeRightButNotTheValue) {
    const Outcome wrong = sign({"LABEL=text:x", "PIN=txt:1234"});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_EQ(wrong.output, "");
    EXPECT_EQ(wrong.errors,
              "p11host: argument 2: PIN: there is no kind \"txt\" (did you mean \"text\"?); the kinds are "
              "text, hex, base64, file, env, prompt, secret, fd\n");
}

TEST(Arguments, aMissingFileNamesTheParameterAndTheFile) {
    const Outcome wrong = sign({"DATA=file:not-there.der"});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_EQ(wrong.errors,
              "p11host: argument 1: DATA: cannot read file \"not-there.der\": No such file or directory\n");
}

TEST(Arguments, aMissingEqualsSignShowsTheFormAndNotTheArgument) {
    const Outcome wrong = sign({"1234"});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_EQ(wrong.errors, "p11host: argument 1: there is no \"=\" in it; an argument is ID=VALUE, for example "
                            "LABEL=text:card or PIN=prompt:\n");
}

TEST(Arguments, anUnsetSecretIsUsage) {
    const Outcome wrong = sign({"PIN=env:NOT_SET_ANYWHERE"});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_THAT(wrong.errors, HasSubstr("environment variable \"NOT_SET_ANYWHERE\" is not set"));
    EXPECT_EQ(sign({"PIN=fd:1"}).status, 2);
    EXPECT_EQ(sign({"PIN=fd:x"}).status, 2);
    EXPECT_EQ(sign({"PIN=fd:77"}).status, 2);
}

} // namespace
} // namespace tests
