// The p11-kit trust module: tokens that cannot be written to, with the system's certification authorities on them, in
// slots whose descriptions are paths.
#include "tests/conformance/Harness.h"
#include "tests/token/Shell.h"
#include "tests/token/TokenTest.h"

#include <gmock/gmock.h>

#include <sstream>

namespace Token {
namespace {

using ::testing::HasSubstr;

class Trust : public ::testing::Test {
protected:
    void SetUp() override {
        if (std::string(TRUST_MODULE).empty()) {
            GTEST_SKIP() << "the p11-kit trust module was not found when the tests were configured";
        }
        plugin = Executor(Params().plain("DLLNAME", watched(TRUST_MODULE)));
        ASSERT_TRUE(plugin);
        ASSERT_EQ(plugin.initialize(), std::nullopt);
    }

    /// The descriptions of the slots as pkcs11-tool sees them, in the module's order.
    [[nodiscard]] std::vector<std::string> slots() const {
        std::istringstream lines(tool("--list-slots"));
        std::vector<std::string> found;
        for (std::string line; std::getline(lines, line);) {
            const std::size_t colon = line.find("): ");
            if (line.starts_with("Slot ") && colon != std::string::npos) {
                found.push_back(line.substr(colon + 3));
            }
        }
        return found;
    }

    [[nodiscard]] std::string tool(const std::string& arguments) const {
        return folder.run(std::string("pkcs11-tool --module '") + TRUST_MODULE + "' " + arguments);
    }

    Result choose(const std::string& description) {
        return plugin.execute("getPlatformIdentifiers", Params().hex("READERNAME", hex(description)));
    }

    /// The reader with the most certificates, and how many pkcs11-tool sees there.
    [[nodiscard]] std::pair<std::string, int> fullest() const {
        std::pair<std::string, int> best;
        const std::vector<std::string> names = slots();
        for (std::size_t i = 0; i < names.size(); ++i) {
            const std::string listed = tool("--list-objects --type cert --slot-index " + std::to_string(i));
            int count = 0;
            for (std::size_t at = 0; (at = listed.find("Certificate Object", at)) != std::string::npos; ++at) {
                ++count;
            }
            best = count > best.second ? std::pair(names[i], count) : best;
        }
        return best;
    }

    Folder folder;
    Executor plugin;
};

TEST_F(Trust, readersWithSlashesInTheirNamesAreListedAndChosen) {
    const std::vector<std::string> names = slots();
    ASSERT_FALSE(names.empty());
    std::string joined;
    for (const std::string& name : names) {
        EXPECT_THAT(name, HasSubstr("/"));
        joined += (joined.empty() ? "" : "2F") + hex(name);
    }
    EXPECT_EQ(plugin.execute("getReaderList").value("READERS"), joined);
    for (const std::string& name : names) {
        EXPECT_EQ(choose(name).value("ERROR"), "0") << name;
    }
}

TEST_F(Trust, moreThanAHundredCertificatesAreReadInOneGo) {
    const auto [name, count] = fullest();
    if (count <= 100) {
        GTEST_SKIP() << "the system trusts " << count << " certification authorities only";
    }
    ASSERT_EQ(choose(name).value("ERROR"), "0");
    const Result read = plugin.execute("readData", Params().plain("OBJ_TYPE", "CERTIFICATE"));
    ASSERT_EQ(read.value("ERROR"), "0");
    std::ostringstream hexadecimal;
    hexadecimal << std::hex << count;
    EXPECT_EQ(read.value("COUNT"), hexadecimal.str());
    EXPECT_EQ(read.outputs.size(), 2U + static_cast<std::size_t>(count));
    // Each of them is one that OpenSSL reads.
    for (std::size_t i = 2; i < read.outputs.size(); ++i) {
        folder.write("all.pem", folder.read("all.pem") + "-----BEGIN CERTIFICATE-----\n" + read.outputs[i].value +
                                    "\n-----END CERTIFICATE-----\n");
    }
    const std::string subjects =
        folder.run("fold -w 64 all.pem > wrapped.pem; openssl crl2pkcs7 -nocrl -certfile wrapped.pem | "
                   "openssl pkcs7 -print_certs -noout | grep -c '^subject'");
    EXPECT_EQ(subjects, std::to_string(count) + "\n");
}

TEST_F(Trust, theTokenKnowsNoUserAndIsNotWritten) {
    const auto [name, count] = fullest();
    if (count == 0) {
        GTEST_SKIP() << "the system trusts no certification authority";
    }
    ASSERT_EQ(choose(name).value("ERROR"), "0");
    EXPECT_EQ(plugin.execute("writeData", certificate("\x30", "mine", "01")).value("ERROR"), "80f5");
    EXPECT_EQ(plugin.execute("getAuthenticatorState").value("AUTHSTATE"), "2");
    EXPECT_EQ(plugin.execute("init", Params().plain("INIT_KEYID", "SO").hex("INIT_KEY", "31323334")).value("ERROR"),
              "80f4");
    // What logs in, writes or removes opens a read/write session first, and that is refused.
    const Params login = Params().plain("AUTH_TYPE", "STATIC").plain("PINID", "USER").hex("PIN", "31323334");
    const Result refused = plugin.execute("authenticate", login);
    const Result written = plugin.execute("writeData", certificate("\x30", "mine", "01").hex("PIN", "31323334"));
    const Result removed = plugin.execute("removeData", Params().plain("OBJ_TYPE", "ANY").hex("PIN", "31323334"));
    EXPECT_EQ(refused.value("ERROR"), "80f5");
    EXPECT_EQ(written.value("ERROR"), "80f5");
    EXPECT_EQ(removed.value("ERROR"), "80f5");
    EXPECT_EQ(plugin.execute("readData", Params().plain("OBJ_TYPE", "KEY_PAIR")).value("COUNT"), "0");
    EXPECT_EQ(fullest().second, count);
}

} // namespace
} // namespace Token
