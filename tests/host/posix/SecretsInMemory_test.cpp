// A job's secrets in the memory of p11host after they have been used, looked for from within by a module that it has
// loaded, and from outside by root.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <pty.h>
#include <set>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/host/Child.h"
#include "tests/host/memory/Regions.h"
#include "tests/host/memory/Seeker.h"
#include "tests/unit/crypto/OpenSslKeys.h"

namespace tests {
namespace {

using ::testing::HasSubstr;

const std::string kClean = "search dumpable=0 core=0 planted@data planted@heap planted@stack";
const std::string kStart = "{\"call\":\"newInstance\"}\n{\"call\":\"initialize\"}\n";
const std::string kSearch = "{\"call\":\"execute\",\"operation\":{\"script\":\"getReaderList\"}}\n";
const std::string kAnew = "{\"call\":\"terminate\"}\n{\"call\":\"freeInstance\"}\n" + kStart + kSearch;

/// A whole private key as the Base64 text of its PKCS#8 structure.
const std::string& key() {
    static const std::string s_text = [] {
        constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        const std::string digits = kRsa2048Exponent65537.pkcs8;
        std::string text;
        for (std::size_t i = 0; i < digits.size(); i += 6) {
            const std::string bytes = digits.substr(i, 6);
            const unsigned long group = std::stoul(bytes + std::string(6 - bytes.size(), '0'), nullptr, 16);
            for (std::size_t k = 0; k < 4; ++k) {
                text += k <= bytes.size() / 2 ? kDigits[group >> (18 - 6 * k) & 63] : '=';
            }
        }
        return text;
    }();
    return s_text;
}

std::string execute(const std::string& script, const std::string& parameters) {
    return "{\"call\":\"execute\",\"operation\":{\"script\":\"" + script + "\",\"parameters\":{" + parameters + "}}}\n";
}

std::string import(const std::string& value) {
    return execute("writeData", "\"OBJ_TYPE\":\"KEY_PAIR\",\"ALGOID\":\"1.2.840.113549.1.1.1\",\"KEYENCODING\":"
                                "\"PKCS8.clear\",\"ID\":{\"hex\":\"01\"},\"KEYVALUE\":" +
                                    value);
}

std::string quoted(const std::string& text) {
    return "\"" + text + "\"";
}

std::string setPin(const std::string& value) {
    return execute("initAuthenticator",
                   "\"INIT_KEYID\":\"SO\",\"PINID\":\"USER\",\"INIT_KEY\":" + value + ",\"PIN\":" + value);
}

struct Case {
    const char* name;
    std::string secret;
    std::string steps;
    std::string environment;
    std::string input;
};

void PrintTo(const Case& tested, std::ostream* stream) {
    *stream << tested.name;
}

const std::string kPin = "a-PIN-of-more-than-forty-characters-0123456789-with-a-tail";

std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        constexpr char kDigits[] = "0123456789abcdef";
        result += std::string("\\u00") + kDigits[c >> 4 & 15] + kDigits[c & 15];
    }
    return result;
}

std::vector<Case> cases() {
    const std::string authentication = "\"AUTH_TYPE\":\"STATIC\",\"PINID\":\"USER\",\"PIN\":";
    const std::string change = "\"PINID\":\"USER\",\"OLD_PIN\":{\"text\":\"1234\"},\"NEW_PIN\":";
    return {
        {"keyAsBase64", key(), import("{\"base64\":" + quoted(key()) + "}"), "", ""},
        {"keyAsHexadecimalText", kRsa1024Exponent3.pkcs8, import("{\"hex\":" + quoted(kRsa1024Exponent3.pkcs8) + "}"),
         "", ""},
        {"keyAsListedParameter", key(),
         "{\"call\":\"execute\",\"operation\":{\"script\":\"writeData\",\"parameters\":[{\"id\":\"OBJ_TYPE\",\"value\":"
         "\"KEY_PAIR\"},{\"id\":\"KEYVALUE\",\"encoding\":1,\"type\":2,\"value\":" +
             quoted(key()) + "}]}}\n",
         "", ""},
        {"pinAsText", kPin, setPin("{\"text\":" + quoted(kPin) + "}"), "", ""},
        {"pinAsPlainValue", kPin, setPin(quoted(kPin)), "", ""},
        {"pinThatIsEscaped", kPin, setPin("{\"text\":" + quoted(escaped(kPin)) + "}"), "", ""},
        {"pinThatIsKept", kPin, execute("authenticate", authentication + "{\"text\":" + quoted(kPin) + "}"), "", ""},
        {"pinOfTwentyCharacters", kPin.substr(0, 20),
         execute("changeAuthenticator", change + "{\"text\":" + quoted(kPin.substr(0, 20)) + "}"), "", ""},
        {"pinOfInitialize", kPin,
         "{\"call\":\"terminate\"}\n{\"call\":\"initialize\",\"accessParameters\":{\"PINID\":\"USER\",\"PIN\":{"
         "\"text\":" +
             quoted(kPin) + "}}}\n",
         "", ""},
        {"pinFromTheEnvironmentTwice", kPin, setPin("{\"env\":\"P11SEEK_PIN\"}") + setPin("{\"env\":\"P11SEEK_PIN\"}"),
         kPin, ""},
        {"pinFromADescriptor", kPin, setPin("{\"fd\":0}"), "", kPin + "\n"},
        {"keyInAStepCutShort", key(), "{\"call\":\"execute\",\"operation\":{\"x\":" + quoted(key()) + "\n", "", ""},
        {"keyInATextCutShort", key(), "{\"call\":\"execute\",\"operation\":{\"x\":\"" + key() + "\n", "", ""},
        {"keyBeforeABadEscape", key(), "{\"call\":\"execute\",\"x\":\"" + key() + "\\q\"}\n", "", ""},
        {"keyBeforeABadByte", key(), "{\"call\":\"execute\",\"x\":\"" + key() + "\xFF\"}\n", "", ""},
        {"keyWhereAKeyIsExpected", key(), "{\"call\":\"execute\"," + quoted(key()) + "}\n", "", ""},
        {"keyBehindAComma", key(), "{\"call\":\"execute\",\"x\":1," + quoted(key()) + ",,\n", "", ""},
        {"pinWithoutQuotes", "987654321098765432109876543210",
         "{\"call\":\"initialize\",\"accessParameters\":{\"PIN\":987654321098765432109876543210}}\n", "", ""},
        {"pinOfAnUnknownKind", kPin, execute("authenticate", "\"PIN\":{\"Txet1\":" + quoted(kPin) + "}"), "", ""},
        {"pinGivenTwice", kPin, execute("x", "\"PIN\":" + quoted(kPin) + ",\"PIN\":" + quoted(kPin)), "", ""},
        {"pinForNoInstance", kPin,
         "{\"call\":\"initialize\",\"on\":\"b\",\"accessParameters\":{\"PIN\":" + quoted(kPin) + "}}\n", "", ""},
    };
}

Outcome runJob(const std::string& steps, const File& secrets, const File& found, const Case& tested) {
    // A file with a step that is none is not begun; where standard input is free, the job comes through it.
    const bool isPiped = tested.input.empty();
    const File job(isPiped ? "" : steps);
    Environment environment = {{"P11SEEK_SECRETS", secrets.path()}, {"P11SEEK_FOUND", found.path()}};
    if (!tested.environment.empty()) {
        environment["P11SEEK_PIN"] = tested.environment;
    }
    return run({hostProgram(), "--module", SEEKER_MODULE, "run", isPiped ? "-" : job.path()},
               isPiped ? steps : tested.input, environment);
}

const std::string kPlanted = "PLANTED-by-the-module-itself";

class SecretsInMemory : public ::testing::TestWithParam<Case> {};

TEST_P(SecretsInMemory, areGoneWhenTheStepIsAnswered) {
    const File secrets(maskedSecrets({{"planted", kPlanted}, {"secret", GetParam().secret}}));
    const File found("");
    const Outcome outcome = runJob(kStart + GetParam().steps + kAnew, secrets, found, GetParam());
    EXPECT_EQ(found.content(), kClean + "\n") << outcome.output << outcome.errors;
    EXPECT_THAT(outcome.output, ::testing::Not(HasSubstr(GetParam().secret)));
}

INSTANTIATE_TEST_SUITE_P(All, SecretsInMemory, ::testing::ValuesIn(cases()),
                         [](const auto& tested) { return tested.param.name; });

TEST(SecretsInMemory, ofADocumentAreGoneToo) {
    const File secrets(maskedSecrets({{"planted", kPlanted}, {"secret", key()}}));
    const File found("");
    std::string steps = kStart + import("{\"base64\":" + quoted(key()) + "}") + kAnew;
    for (std::size_t at = 0; (at = steps.find('\n', at)) != std::string::npos && at + 1 < steps.size(); ++at) {
        steps[at] = ',';
    }
    (void)runJob("[" + steps + "]", secrets, found, {});
    EXPECT_EQ(found.content(), kClean + "\n");
}

TEST(SecretsInMemory, thatTheExecutorKeepsAreFound) {
    const File secrets(maskedSecrets({{"planted", kPlanted}, {"secret", kPin}}));
    const File found("");
    const std::string login =
        execute("authenticate", "\"AUTH_TYPE\":\"STATIC\",\"PINID\":\"USER\",\"PIN\":{\"text\":" + quoted(kPin) + "}");
    (void)runJob(kStart + login + kSearch, secrets, found, {});
    EXPECT_EQ(found.content(), kClean + " secret@heap\n") << "the search does not see what is there";
}

TEST(SecretsInMemory, typedAtAPromptAreGone) {
    const File secrets(maskedSecrets({{"planted", kPlanted}, {"secret", kPin}}));
    const File found("");
    const File job(kStart + setPin("{\"prompt\":\"\"}") + kAnew);
    int terminal = -1;
    const pid_t process = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (process < 0) {
        GTEST_SKIP() << "no pseudo-terminal can be opened";
    }
    if (process == 0) {
        ::setenv("P11SEEK_SECRETS", secrets.path().c_str(), 1);
        ::setenv("P11SEEK_FOUND", found.path().c_str(), 1);
        ::execl(hostProgram().c_str(), "p11host", "--module", SEEKER_MODULE, "run", job.path().c_str(), nullptr);
        ::_exit(127);
    }
    std::string shown;
    std::size_t answered = 0;
    char bytes[4096];
    for (ssize_t count = 0; (count = ::read(terminal, bytes, sizeof bytes)) > 0;) {
        shown.append(bytes, static_cast<std::size_t>(count));
        for (; shown.find("INIT_KEY: ") != std::string::npos && shown.find(": ", answered) != std::string::npos;) {
            answered = shown.find(": ", answered) + 2;
            const std::string line = kPin + "\n";
            EXPECT_EQ(::write(terminal, line.data(), line.size()), static_cast<ssize_t>(line.size()));
        }
    }
    ::close(terminal);
    ::waitpid(process, nullptr, 0);
    EXPECT_EQ(found.content(), kClean + "\n") << shown;
}

/// The secrets found in another process's memory; nothing when it may not be read.
std::optional<std::set<std::string>> seekIn(long process, const Seeker& seeker) {
    const std::string folder = "/proc/" + std::to_string(process) + "/";
    const int memory = ::open((folder + "mem").c_str(), O_RDONLY | O_CLOEXEC);
    if (memory < 0) {
        return std::nullopt;
    }
    std::set<std::string> names;
    for (const Region& region : writableRegions(folder + "maps")) {
        std::string bytes(region.end - region.begin, '\0');
        const ssize_t count = ::pread(memory, bytes.data(), bytes.size(), static_cast<off_t>(region.begin));
        seeker.search(bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0,
                      [&](const std::string& name) { names.insert(name); });
    }
    ::close(memory);
    return names;
}

TEST(SecretsInMemory, areNotFoundFromOutsideBetweenTwoSteps) {
    const std::string officer = kPin + "-of-the-officer";
    const Seeker seeker(maskedSecrets({{"key", key()},
                                       {"officer", officer.substr(kPin.size() - 4)},
                                       {"environment", "from-the-environment-" + kPin.substr(0, 9)},
                                       {"user", "PIN-that-the-executor-keeps"}}));
    Child child({hostProgram(), "--module", SEEKER_MODULE, "run", "-"},
                {{"P11SEEK_PIN", "from-the-environment-" + kPin.substr(0, 9)}});
    const std::string kUnlock = "\"PINID\":\"USER\",\"UNLOCK_TYPE\":\"STATIC\",\"PIN\":{\"text\":\"5678\"},\"UNLOCK_"
                                "KEYID\":\"SO\",\"UNLOCK_KEY\":";
    const std::string steps[] = {
        "{\"call\":\"newInstance\"}\n",
        "{\"call\":\"initialize\"}\n",
        import("{\"base64\":" + quoted(key()) + "}"),
        execute("unlockAuthenticator", kUnlock + "{\"text\":" + quoted(officer) + "}"),
        execute("unlockAuthenticator", kUnlock + "{\"env\":\"P11SEEK_PIN\"}"),
        "{\"call\":\"execute\",\"x\":\"" + key() + "\\q\"}\n",
        execute("authenticate",
                "\"AUTH_TYPE\":\"STATIC\",\"PINID\":\"USER\",\"PIN\":{\"text\":\"PIN-that-the-executor-keeps\"}")};
    for (const std::string& step : steps) {
        child.write(step);
        ASSERT_NE(child.readLine(), "");
    }
    const std::optional<std::set<std::string>> found = seekIn(child.process(), seeker);
    child.closeInput();
    EXPECT_EQ(child.wait(), 2);
    if (!found) {
        EXPECT_NE(::geteuid(), 0U);
        GTEST_SKIP() << "only root may read the memory of p11host";
    }
    EXPECT_THAT(*found, ::testing::ElementsAre("user"));
}

} // namespace
} // namespace tests
