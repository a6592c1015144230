// An interrupt during a key generation left one half of the pair on the token.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/host/Child.h"

namespace tests {
namespace {

namespace fs = std::filesystem;

constexpr int kGenerations = 20;

class HalfKeyPair : public ::testing::Test {
protected:
    void SetUp() override {
        if (std::string(SOFTHSM_MODULE).empty()) {
            GTEST_SKIP() << "SoftHSM2 was not found when the tests were configured";
        }
        fs::create_directories(m_folder / "tokens");
        std::ofstream(m_folder / "softhsm2.conf")
            << "directories.tokendir = " << (m_folder / "tokens").string() << "\nlog.level = ERROR\n";
    }
    void TearDown() override { fs::remove_all(m_folder); }

    [[nodiscard]] Environment environment() const { return {{"SOFTHSM2_CONF", (m_folder / "softhsm2.conf").string()}}; }

    [[nodiscard]] static Words host(const Words& more) {
        Words arguments = {hostProgram(), "--module", SOFTHSM_MODULE};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }

    /// The token keeps each object in a file of its own.
    [[nodiscard]] int objects() const {
        int count = 0;
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(m_folder / "tokens")) {
            const fs::path& file = entry.path();
            count += file.extension() == ".object" && file.filename() != "token.object" ? 1 : 0;
        }
        return count;
    }

private:
    File m_name{""};
    fs::path m_folder = fs::absolute(m_name.path() + ".d");
};

TEST_F(HalfKeyPair, noneStaysOfInterruptedGenerations) {
    const Outcome made = run(host({"run", "-"}), R"({"call":"newInstance"}
{"call":"initialize"}
{"call":"execute","operation":{"script":"getPlatformIdentifiers","parameters":{"READERNAME":{"text":"SoftHSM slot ID 0x0"}}}}
{"call":"execute","operation":{"script":"init","parameters":{"INIT_KEYID":"SO","INIT_KEY":{"text":"so-pin"},"LABEL":{"text":"t"}}}}
{"call":"execute","operation":{"script":"initAuthenticator","parameters":{"INIT_KEYID":"SO","INIT_KEY":{"text":"so-pin"},"PINID":"USER","PIN":{"text":"1234"}}}}
)",
                             environment());
    ASSERT_EQ(made.status, 0) << made.output << made.errors;
    const std::string readers = run(host({"readers", "--json"}), "", environment()).output;
    const std::string reader = nlohmann::json::parse(readers).at("readers").at(0).at("reader");
    for (int i = 0; i < kGenerations; ++i) {
        const File trace("");
        Child child(host({"--trace", trace.path(), "--trace-levels", "2", "--reader", reader, "generateKeyPair",
                          "PIN=text:1234", "ALGOID=1.2.840.113549.1.1.1", "KEYSIZE=1024", "PUBLICEXPONENT=base64:AQAB",
                          "ID=hex:01", "LABEL=text:k", "SIGN=1"}),
                    environment());
        ASSERT_TRUE(waitFor(trace, "C_GenerateKeyPair")) << child.errors();
        ASSERT_TRUE(child.interrupt(SIGINT));
        EXPECT_NE(child.readAll(), "") << "the answer of the finished script";
        EXPECT_EQ(child.wait(), 130);
    }
    EXPECT_EQ(objects(), 2 * kGenerations);
}

} // namespace
} // namespace tests
