#include "host/scripts/Parameters.h"

#include <gtest/gtest.h>

#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"

namespace host {
namespace {

std::string shown(const Zel::Parameter& parameter) {
    return toUtf8(parameter.getId()) + "|" + std::to_string(static_cast<int>(parameter.getEncodingEnum())) + "|" +
           std::to_string(static_cast<int>(parameter.getTypeEnum())) + "|" + toUtf8(parameter.getValue());
}

std::string refusal(const std::string& argument) {
    try {
        return "accepted " + shown(readArgument(argument));
    } catch (const UsageError& error) {
        return error.what();
    }
}

TEST(Parameters, aPlainValueIsPassedAsItStands) {
    EXPECT_EQ(shown(readArgument("PINID=USER")), "PINID|2|3|USER");
    EXPECT_EQ(shown(readArgument("A=")), "A|2|3|");
    EXPECT_EQ(shown(readArgument("A=b=c")), "A|2|3|b=c");
    EXPECT_EQ(shown(readArgument("A=\xC3\xA4")), "A|2|3|\xC3\xA4");
}

TEST(Parameters, kindsDecideEncodingAndType) {
    EXPECT_EQ(shown(readArgument("A=text:AB\xC3\xA4")), "A|4|0|4142C3A4");
    EXPECT_EQ(shown(readArgument("A=text:")), "A|4|0|");
    EXPECT_EQ(shown(readArgument("A=hex:0aff")), "A|4|0|0aff");
    EXPECT_EQ(shown(readArgument("A=base64:AQI=")), "A|1|2|AQI=");
}

TEST(Parameters, onlyWordsBeforeAColonAreKinds) {
    EXPECT_EQ(shown(readArgument("A=C:\\x")), "A|2|3|C:\\x");
    EXPECT_EQ(shown(readArgument("A=:x")), "A|2|3|:x");
    EXPECT_EQ(shown(readArgument("A=1.2:x")), "A|2|3|1.2:x");
    EXPECT_EQ(refusal("A=base:x").substr(0, 53), "A: there is no kind \"base\" (did you mean \"base64\"?); ");
    EXPECT_EQ(refusal("A=TEXT:x").substr(0, 51), "A: there is no kind \"TEXT\" (did you mean \"text\"?); ");
    EXPECT_EQ(
        refusal("A=zzzzzz:x"),
        "A: the word before the value is no kind; the kinds are text, hex, base64, file, env, prompt, secret, fd");
}

TEST(Parameters, malformedArgumentsAreRefusedWithoutShowingThem) {
    EXPECT_EQ(refusal("1234"), "there is no \"=\" in it; an argument is ID=VALUE, for example LABEL=text:card or "
                               "PIN=prompt:");
    EXPECT_EQ(refusal("=1234"), "nothing stands before the \"=\"; an argument is ID=VALUE, for example "
                                "LABEL=text:card or PIN=prompt:");
}

TEST(Parameters, orderAndRepetitionAreKept) {
    const ParameterList list = readArguments({"B=1", "A=2", "B=3"});
    ASSERT_EQ(list.size(), 3U);
    EXPECT_EQ(shown(*list.at(0)), "B|2|3|1");
    EXPECT_EQ(shown(*list.at(1)), "A|2|3|2");
    EXPECT_EQ(shown(*list.at(2)), "B|2|3|3");
}

TEST(Parameters, secretsThatAreNotThereAreRefused) {
    EXPECT_EQ(refusal("PIN=env:P11HOST_NOT_SET"), "PIN: environment variable \"P11HOST_NOT_SET\" is not set");
    EXPECT_EQ(refusal("PIN=secret:not-there"), "PIN: cannot read file \"not-there\": No such file or directory");
    EXPECT_EQ(refusal("PIN=fd:2"), "PIN: descriptors 1 and 2 are outputs; use 0, or 3 and above");
    EXPECT_EQ(refusal("PIN=fd:3x"), "PIN: a descriptor is a number such as 3");
    EXPECT_EQ(refusal("PIN=fd:-1"), "PIN: a descriptor is a number such as 3");
}

} // namespace
} // namespace host
