// The secrets of card commands in the memory of p11host when the command is over, looked for from within by the module
// that it has loaded: PINs, passphrases and private keys, in the buffers of the libraries that it uses, too.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/host/memory/Seeker.h"
#include "tests/host/posix/OnTerminal.h"
#include "tests/unit/crypto/OpenSslKeys.h"

namespace tests {
namespace {

const std::string kClean = "search dumpable=0 core=0 planted@data planted@heap planted@stack\n";
const std::string kPlanted = "PLANTED-by-the-module-itself";
const std::string kPin = "a-PIN-of-more-than-forty-characters-0123456789-with-a-tail";
const std::string kOfficer = "12345678";
const std::string kPassphrase = "a passphrase with blanks, longer than a block of AES is";

std::string bytesOf(const std::string& digits) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

/// Bytes of any value: a line of secrets ends where one of them masked is a line end.
void add(std::vector<NamedSecret>& secrets, const std::string& name, const std::string& bytes) {
    constexpr char kLineEnd = static_cast<char>('\n' ^ 0x80);
    std::string part;
    for (const char byte : bytes + kLineEnd) {
        if (byte != kLineEnd) {
            part += byte;
        } else if (!part.empty()) {
            secrets.push_back({name, part});
            part.clear();
        }
    }
}

/// All but the public numbers, in the order of a file and in that of a computer's numbers.
void addKey(std::vector<NamedSecret>& secrets) {
    const OpenSslKey& key = kRsa2048Exponent65537;
    for (const char* digits :
         {key.privateExponent, key.prime1, key.prime2, key.exponent1, key.exponent2, key.coefficient}) {
        const std::string number = bytesOf(digits);
        add(secrets, "key", number);
        add(secrets, "reversed-key", {number.rbegin(), number.rend()});
    }
}

class CardSecretsInMemory : public ::testing::Test {
protected:
    void SetUp() override {
        if (run({"/bin/sh", "-c", "command -v openssl"}).status != 0) {
            GTEST_SKIP() << "OpenSSL's command line is not installed";
        }
        std::filesystem::create_directories(m_folder);
    }
    void TearDown() override { std::filesystem::remove_all(m_folder); }

    [[nodiscard]] std::string at(const std::string& name) const { return m_folder + "/" + name; }
    [[nodiscard]] std::string file(const std::string& name, const std::string& content) const {
        std::ofstream(at(name), std::ios::binary) << content;
        std::filesystem::permissions(at(name),
                                     std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
        return at(name);
    }
    /// A file with the key that OpenSSL makes of the plain one.
    [[nodiscard]] std::string keyFile(const std::string& name, const std::string& options) const {
        static_cast<void>(file("key.der", bytesOf(kRsa2048Exponent65537.pkcs8)));
        static_cast<void>(file("passphrase", kPassphrase + "\n"));
        const std::string command = "cd '" + m_folder + "' && openssl pkcs8 -inform DER -in key.der -out " + name +
                                    " -passout file:passphrase " + options;
        EXPECT_EQ(run({"/bin/sh", "-c", command}).status, 0);
        return at(name);
    }
    /// A source of the PIN.
    [[nodiscard]] std::string pin() const { return "file:" + file("pin", kPin + "\n"); }
    /// Every line of Base64 text that holds a piece of the private numbers. The public ones come first.
    static void addLines(std::vector<NamedSecret>& secrets, const std::string& path) {
        std::ifstream stream(path);
        std::vector<std::string> lines;
        for (std::string line; std::getline(stream, line);) {
            lines.push_back(line);
        }
        for (std::size_t i = lines.size() / 3; i + 2 < lines.size(); ++i) {
            secrets.push_back({"pem", lines[i]});
        }
    }

    [[nodiscard]] Words command(const Words& words) const {
        Words arguments = {hostProgram(), "--module", CARD_SEEKER_MODULE};
        arguments.insert(arguments.end(), words.begin(), words.end());
        return arguments;
    }
    [[nodiscard]] Environment environment(const std::string& token, const File& secrets, const File& found) const {
        return {{"P11SEEK_SECRETS", secrets.path()},
                {"P11SEEK_FOUND", found.path()},
                {"P11HOST_TEST_TOKEN", token},
                {"P11SEEK_SO", kOfficer}};
    }
    /// Runs the command and asserts that it ends like this and leaves nothing.
    void leavesNothing(const Words& words, int status, const std::string& token = "") const {
        std::vector<NamedSecret> secrets = {{"planted", kPlanted}, {"pin", kPin}, {"passphrase", kPassphrase}};
        addKey(secrets);
        if (std::filesystem::exists(at("key.pem"))) {
            addLines(secrets, at("key.pem"));
        }
        const File masked(maskedSecrets(secrets));
        const File found("");
        Environment variables = environment(token, masked, found);
        if (std::find(words.begin(), words.end(), "env:P11SEEK_PIN") != words.end()) {
            variables["P11SEEK_PIN"] = kPin;
        }
        if (status == 2) {
            // The command does not load the module. A name of this list ends at a blank, which the folder may have.
            const std::filesystem::path module(CARD_SEEKER_MODULE);
            variables["LD_PRELOAD"] = module.filename().string();
            variables["LD_LIBRARY_PATH"] = module.parent_path().string();
        }
        const Outcome outcome = run(command(words), "", variables);
        EXPECT_EQ(outcome.status, status) << outcome.errors;
        EXPECT_EQ(found.content(), kClean) << outcome.errors;
    }

private:
    File m_name{""};
    std::string m_folder = std::filesystem::absolute(m_name.path() + ".d").string();
};

TEST_F(CardSecretsInMemory, areGoneAfterAPlainKeyIsImported) {
    const std::string der = file("key.der", bytesOf(kRsa2048Exponent65537.pkcs8));
    leavesNothing({"import-key", der, "--id", "01", "--pin", pin()}, 0);
    const std::string pem = keyFile("key.pem", "-nocrypt");
    leavesNothing({"import-key", pem, "--id", "01", "--pin", pin()}, 0);
}

TEST_F(CardSecretsInMemory, areGoneAfterAnEncryptedKeyIsImported) {
    const std::string pem = keyFile("encrypted.pem", "-topk8 -iter 2048");
    leavesNothing({"import-key", pem, "--id", "01", "--passphrase", "file:" + at("passphrase"), "--pin", pin()}, 0);
}

TEST_F(CardSecretsInMemory, areGoneAfterAnImportThatFails) {
    const std::string whole = bytesOf(kRsa2048Exponent65537.pkcs8);
    const std::string cut = file("cut.der", whole.substr(0, whole.size() - 20));
    leavesNothing({"import-key", cut, "--id", "01", "--pin", pin()}, 2);
    const std::string pem = keyFile("encrypted.pem", "-topk8 -iter 2048");
    const std::string other = file("other", kPassphrase + " and another one\n");
    leavesNothing({"import-key", pem, "--id", "01", "--passphrase", "file:" + other, "--pin", pin()}, 2);
    const std::string der = file("key.der", whole);
    leavesNothing({"import-key", der, "--id", "01", "--pin", pin()}, 1, "C_CreateObject=0x30");
}

TEST_F(CardSecretsInMemory, areGoneAfterASignature) {
    const std::string letter = file("letter", "Dear all");
    leavesNothing({"sign", letter, "--id", "01", "--pin", pin(), "--out", at("signature")}, 0, "key");
    leavesNothing({"sign", letter, "--id", "02", "--pin", pin()}, 4, "key");
}

TEST_F(CardSecretsInMemory, areGoneAfterAPinIsSet) {
    for (const std::string& source : {std::string("env:P11SEEK_PIN"), pin()}) {
        leavesNothing({"set-pin", "--so-pin", "env:P11SEEK_SO", "--new-pin", source}, 0, "no-user-pin");
        leavesNothing({"unlock-pin", "--so-pin", "env:P11SEEK_SO", "--new-pin", source}, 0, "user=0");
        leavesNothing({"set-pin", "--so-pin", "env:P11SEEK_SO", "--new-pin", source}, 1, "no-user-pin C_InitPIN=0x30");
        leavesNothing({"set-pin", "--so-pin", source, "--new-pin", source}, 5, "no-user-pin");
    }
}

TEST_F(CardSecretsInMemory, typedAtPromptsAreGone) {
    if (!hasTerminals()) {
        GTEST_SKIP() << "no pseudo-terminal can be opened here";
    }
    const File secrets(maskedSecrets({{"planted", kPlanted}, {"pin", kPin}}));
    const File found("");
    const std::string answer = kPin + "\n";
    Environment variables = environment("no-user-pin", secrets, found);
    variables["TERM"] = "xterm"; // with a spinner
    static_cast<void>(runOnTerminal(
        command({"set-pin", "--so-pin", "env:P11SEEK_SO"}),
        {{"New user PIN", kPin + "-\n"}, {"again: ", answer}, {"New user PIN", answer}, {"again: ", answer}},
        variables));
    EXPECT_EQ(found.content(), kClean);
}

TEST_F(CardSecretsInMemory, thatAreThereAreFound) {
    // The host's own environment has a copy that no command has asked for.
    const File secrets(maskedSecrets({{"planted", kPlanted}, {"pin", kPin}}));
    const File found("");
    Environment variables = environment("", secrets, found);
    variables["P11SEEK_PIN"] = kPin;
    static_cast<void>(run(command({"readers"}), "", variables));
    EXPECT_THAT(found.content(), ::testing::HasSubstr(" pin@stack")) << "the search does not see what is there";
}

} // namespace
} // namespace tests
