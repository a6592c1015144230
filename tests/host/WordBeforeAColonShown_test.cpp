// A PIN given without its kind, with a colon in it: what stands before the colon is half of the secret.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/Child.h"

namespace tests {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

std::string refusalOf(const std::string& argument) {
    const Outcome outcome =
        run({hostProgram(), "--plugin", doublePlugin(), "--module", "m", "--raw", "writeData", argument});
    EXPECT_EQ(outcome.status, 2) << argument;
    EXPECT_EQ(outcome.output, "");
    return outcome.errors;
}

constexpr const char* kNoKind = "p11host: argument 1: PIN: the word before the value is no kind; the kinds are text, "
                                "hex, base64, file, env, prompt, secret, fd\n";

TEST(WordBeforeAColon, isNotShown) {
    for (const char* argument : {"PIN=Secret99:x", "PIN=Passw0rd:1", "PIN=1234:5678", "PIN=secretly:x", "PIN=zz:1"}) {
        EXPECT_EQ(refusalOf(argument), kNoKind) << argument;
    }
}

TEST(WordBeforeAColon, isShownWhenItLooksLikeAKind) {
    for (const char* word : {"txt", "Text", "evn", "promt", "bas64", "secert"}) {
        EXPECT_THAT(refusalOf(std::string("PIN=") + word + ":1234"),
                    HasSubstr("PIN: there is no kind \"" + std::string(word) + "\" (did you mean"));
    }
}

TEST(WordBeforeAColon, isNotShownAsAKeyOfAJob) {
    const Outcome outcome = run({hostProgram(), "--plugin", doublePlugin(), "run", "-"},
                                R"({"call":"initialize","accessParameters":{"PIN":{"Secret99":"x"}}})");
    EXPECT_THAT(outcome.output, HasSubstr("PIN: the word before the value is no kind"));
    EXPECT_THAT(outcome.output, Not(HasSubstr("Secret99")));
}

} // namespace
} // namespace tests
