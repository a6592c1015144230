#include "ry/rylog.h"
#include "tests/conformance/Harness.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>

// Many scripts in one process: nothing grows and nothing stays open. How many is the environment's to say:
// SOAK_SCRIPTS on the scripted module, SOAK_TOKEN_SCRIPTS on SoftHSM2.

using namespace Conformance;

namespace {

constexpr unsigned long kWarmUp = 1000;
constexpr long kMostGrowth = 1L << 20;

unsigned long fromEnvironment(const char* name, unsigned long otherwise) {
    const char* const text = std::getenv(name);
    return text == nullptr ? otherwise : std::stoul(text);
}

/// Bytes of this process that are in memory.
long resident() {
    std::ifstream file("/proc/self/statm");
    long pages = 0;
    file >> pages >> pages;
    return pages * ::sysconf(_SC_PAGESIZE);
}

long descriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

struct Step {
    const char* script;
    Params params;
    const char* error;
};

/// Runs the steps over and over, each round in an executor of its own, and measures after the first thousand scripts
/// and at the end.
class Soak {
public:
    Soak(Params creation, std::string reader, std::vector<Step> steps)
        : m_creation(std::move(creation)), m_reader(std::move(reader)), m_steps(std::move(steps)) {}

    void run(unsigned long scripts, unsigned rounds) {
        const auto start = std::chrono::steady_clock::now();
        run(kWarmUp, rounds, m_done);
        const long residentBefore = resident();
        const long descriptorsBefore = descriptors();
        run(scripts, rounds, m_done);
        const long growth = resident() - residentBefore;
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        std::cout << "  " << m_done << " scripts in " << took.count() << " s, " << growth / 1024
                  << " KiB more in memory, " << descriptors() - descriptorsBefore << " descriptors more\n";
        EXPECT_LT(growth, kMostGrowth);
        EXPECT_EQ(descriptors(), descriptorsBefore);
        EXPECT_GE(m_done, scripts);
    }

private:
    void run(unsigned long until, unsigned rounds, unsigned long& done) {
        while (done < until && !::testing::Test::HasFailure()) {
            Executor executor(m_creation);
            ASSERT_TRUE(executor);
            ASSERT_EQ(executor.initialize(), std::nullopt);
            ASSERT_EQ(executor.execute("getPlatformIdentifiers", Params().hex("READERNAME", m_reader)).value("ERROR"),
                      "0");
            for (unsigned round = 0; round < rounds; ++round) {
                for (const Step& step : m_steps) {
                    const Result result = executor.execute(step.script, step.params);
                    ASSERT_EQ(result.value("ERROR").value_or("none"), step.error)
                        << step.script << " after " << done << " scripts";
                }
            }
            executor.terminate();
            done += 1 + rounds * m_steps.size();
        }
    }

    Params m_creation;
    std::string m_reader;
    std::vector<Step> m_steps;
    unsigned long m_done = 0;
};

Params authentication(const char* pin) {
    return Params().plain("AUTH_TYPE", "STATIC").plain("PINID", "USER").hex("PIN", pin);
}

Params signature(const char* id) {
    return Params().plain("ALGOID", kRsa).hex("KEYID", id).base64("DATA", "MCEwCQYFKw4DAhoFAAQU");
}

/// All eighteen scripts, in an order in which each leaves the token as the next one needs it; some fail.
std::vector<Step> allScripts() {
    const Params init = Params().plain("INIT_KEYID", "SO").hex("INIT_KEY", "3132333435363738").hex("LABEL", "43617264");
    const Params recycle =
        Params().plain("RECYCLE_KEYID", "SO").hex("RECYCLE_KEY", "3132333435363738").hex("LABEL", "43617264");
    const Params firstPin = Params()
                                .plain("INIT_KEYID", "SO")
                                .hex("INIT_KEY", "3132333435363738")
                                .plain("PINID", "USER")
                                .hex("PIN", "31323334");
    const Params unlock = Params()
                              .plain("UNLOCK_TYPE", "STATIC")
                              .plain("PINID", "USER")
                              .hex("PIN", "31323334")
                              .plain("UNLOCK_KEYID", "SO")
                              .hex("UNLOCK_KEY", "3132333435363738");
    const Params generate = Params()
                                .plain("ALGOID", kRsa)
                                .plain("KEYSIZE", "1024")
                                .base64("PUBLICEXPONENT", "AQAB")
                                .hex("ID", "01")
                                .plain("SIGN", "1");
    const Params certificate = Params()
                                   .plain("OBJ_TYPE", "CERTIFICATE")
                                   .plain("CERT_TYPE", "X_509")
                                   .base64("DATA", "MIIBIjANBgkqhkiG9w0BAQEFAAOC")
                                   .hex("ID", "01");
    const Params container =
        Params().plain("OBJ_TYPE", "CONTAINER_NAME").hex("KEYID", "01").hex("CONTAINER_NAME", "434E");
    return {{"init", init, "0"},
            {"initAuthenticator", firstPin, "0"},
            {"getReaderList", Params::null(), "0"},
            {"getPlatformIdentifiers", Params().hex("READERNAME", kReaderHex), "0"},
            {"getCardState", Params::null(), "0"},
            {"authenticate", authentication("39393939"), "80ee"},
            {"authenticate", authentication("31323334"), "0"},
            {"getAuthenticatorState", Params().plain("PINID", "USER"), "0"},
            {"generateKeyPair", generate, "0"},
            {"writeData", certificate, "0"},
            {"writeData", container, "0"},
            {"readData", Params().plain("OBJ_TYPE", "CERTIFICATE"), "0"},
            {"readData", Params().plain("OBJ_TYPE", "KEY_PAIR"), "0"},
            {"signData", signature("01"), "0"},
            {"beginSynchronization", Params::null(), "0"},
            {"endSynchronization", Params::null(), "0"},
            {"removeData", Params().plain("OBJ_TYPE", "CERTIFICATE").hex("ID", "01"), "0"},
            {"removeData", Params().plain("OBJ_TYPE", "CERTIFICATE").hex("ID", "01"), "80f3"},
            {"deauthenticate", Params().plain("PINID", "USER"), "0"},
            {"changeAuthenticator",
             Params().plain("PINID", "USER").hex("OLD_PIN", "31323334").hex("NEW_PIN", "3132333435"), "0"},
            {"unlockAuthenticator", unlock, "0"},
            {"recycle", recycle, "0"}};
}

} // namespace

TEST(Soak, ScriptedModule) {
    Fake::Module fake = Fake::module();
    fake.reset();
    fake.setRecording(false);
    const unsigned long scripts = fromEnvironment("SOAK_SCRIPTS", 100000);
    Soak(Params().plain("DLLNAME", Fake::moduleFile()), kReaderHex, allScripts()).run(scripts, 5);
    EXPECT_EQ(fake.sessionCount(), 0U);
    EXPECT_FALSE(fake.isInitialized());
    EXPECT_EQ(fake.objects().size(), 0U);
    EXPECT_EQ(Executor::alive(), 0);
}

TEST(Soak, SoftHsm) {
    if (std::string_view(SOFTHSM2_MODULE).empty()) {
        GTEST_SKIP() << "SoftHSM2 was not found when the tests were configured";
    }
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("soak-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder / "tokens");
    std::ofstream(folder / "softhsm2.conf") << "directories.tokendir = " << (folder / "tokens").string()
                                            << "\nobjectstore.backend = file\nlog.level = ERROR\n";
    ::setenv("SOFTHSM2_CONF", (folder / "softhsm2.conf").c_str(), 1);
    const Params creation = Params().plain("DLLNAME", SOFTHSM2_MODULE);
    {
        Executor issuer(creation);
        ASSERT_EQ(issuer.initialize(), std::nullopt);
        const auto succeeds = [&issuer](const char* script, const Params& params) {
            EXPECT_EQ(issuer.execute(script, params).value("ERROR"), "0") << script;
        };
        const std::string reader = issuer.execute("getReaderList").value("READERS").value_or("");
        succeeds("getPlatformIdentifiers", Params().hex("READERNAME", reader));
        const std::vector<Step> steps = allScripts();
        succeeds("init", steps[0].params);
        succeeds("initAuthenticator", steps[1].params);
        succeeds("authenticate", authentication("31323334"));
        succeeds("generateKeyPair", Params()
                                        .plain("ALGOID", kRsa)
                                        .plain("KEYSIZE", "1024")
                                        .base64("PUBLICEXPONENT", "AQAB")
                                        .hex("ID", "01")
                                        .plain("SIGN", "1"));
    }
    Executor finder(creation);
    ASSERT_EQ(finder.initialize(), std::nullopt);
    const std::string readers = finder.execute("getReaderList").value("READERS").value_or("");
    finder.free();
    // The token's reader is the first; behind it stands the one that waits for another token.
    const std::string reader = readers.substr(0, readers.find("2F"));
    const Params search = Params().plain("OBJ_TYPE", "KEY_PAIR").hex("ID", "01");
    Soak(creation, reader,
         {{"authenticate", authentication("31323334"), "0"},
          {"getAuthenticatorState", Params().plain("PINID", "USER"), "0"},
          {"signData", signature("01"), "0"},
          {"readData", search, "0"},
          {"writeData", Params().plain("OBJ_TYPE", "CERTIFICATE"), "80ec"},
          {"getReaderList", Params::null(), "0"},
          {"signData", signature("01"), "0"},
          {"getCardState", Params::null(), "0"},
          {"readData", Params().plain("OBJ_TYPE", "CERTIFICATE"), "0"},
          {"deauthenticate", Params().plain("PINID", "USER"), "0"}})
        .run(fromEnvironment("SOAK_TOKEN_SCRIPTS", 10000), 20);
    std::filesystem::remove_all(folder);
}
