// Several tokens behind one module: two of SoftHSM2's through p11-kit's proxy.
#include "tests/token/TokenTest.h"

#include <gmock/gmock.h>

#include <sstream>

namespace Token {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class Proxy : public ::testing::Test {
protected:
    void SetUp() override {
        if (std::string(proxy().module).empty()) {
            GTEST_SKIP() << "the p11-kit proxy module or SoftHSM2 was not found when the tests were configured";
        }
        proxy().bringUp(folder);
        for (const std::string label : {"first", "second"}) {
            (void)folder.run("softhsm2-util --init-token --free --label " + label + " --so-pin 87654321 --pin " +
                             label);
        }
        plugin = Executor(Params().plain("DLLNAME", watched(proxy().module)));
        ASSERT_TRUE(plugin);
        ASSERT_EQ(plugin.initialize(), std::nullopt);
    }

    /// The readers in the list, whose names hold no slash.
    [[nodiscard]] std::vector<std::string> readers() {
        const std::string list = unhex(plugin.execute("getReaderList").value("READERS").value_or(""));
        std::vector<std::string> names;
        std::istringstream rest(list);
        for (std::string name; std::getline(rest, name, '/');) {
            names.push_back(hex(name));
        }
        return names;
    }

    /// Chooses the reader whose token has this label, and returns its name; empty when there is none.
    [[nodiscard]] std::string readerOf(const std::string& label) {
        for (const std::string& name : readers()) {
            const Result chosen = plugin.execute("getPlatformIdentifiers", Params().hex("READERNAME", name));
            if (chosen.value("LABEL").value_or("").starts_with(hex(label + "  "))) {
                return name;
            }
        }
        return "";
    }
    [[nodiscard]] bool choose(const std::string& label) { return !readerOf(label).empty(); }

    std::string error(const std::string& script, const Params& params) {
        return plugin.execute(script, params).value("ERROR").value_or("none");
    }

    /// The labels of the certificates that another program sees on a token.
    [[nodiscard]] std::string seen(const std::string& label) const {
        return folder.run(std::string("pkcs11-tool --module '") + softhsm().module + "' --token-label " + label +
                          " --list-objects --type cert | sed -n 's/^  label: *//p'");
    }

    /// The other packages' modules that this process has loaded; p11watch keeps those of earlier tests.
    [[nodiscard]] std::string modules() const { return folder.run("grep -o '/pkcs11/.*' /proc/$PPID/maps | sort -u"); }

    Folder folder;
    const std::string modulesOfEarlierTests = modules();
    Executor plugin;
};

/// p11host on the proxy.
class HostOnProxy : public Proxy {
protected:
    void SetUp() override {
        Proxy::SetUp();
        if (!IsSkipped() && std::string(HOST_PROGRAM).empty()) {
            GTEST_SKIP() << "the tier native runs p11host on the proxy";
        }
    }

    /// What p11host answers.
    [[nodiscard]] std::string host(const std::string& arguments) const {
        return folder.run(std::string(proxy().toolEnvironment) + "'" + HOST_PROGRAM + "' --module '" + proxy().module +
                          "' " + arguments);
    }
};

/// The modules that p11-kit says it has opened.
std::vector<std::string> opened(const std::string& messages) {
    const std::string mark = "opened module: ";
    std::vector<std::string> modules;
    for (std::size_t at = messages.find(mark); at != std::string::npos; at = messages.find(mark, at)) {
        at += mark.size();
        modules.push_back(messages.substr(at, messages.find('\n', at) - at));
    }
    return modules;
}

// Each package may bring a module that the proxy loads besides; on every machine OpenSC's, which we use as a tool.
TEST_F(HostOnProxy, noModuleOfAnotherPackageIsLoaded) {
    EXPECT_NE(folder.run("grep libsofthsm2 /proc/$PPID/maps"), "") << "this process is not the one that is looked at";
    EXPECT_EQ(modules(), modulesOfEarlierTests);
    plugin.free();
    setVariable("P11_KIT_DEBUG", "lib");
    const std::string messages = host("readers");
    setVariable("P11_KIT_DEBUG", "");
    EXPECT_THAT(opened(messages), ElementsAre(softhsm().module));
}

TEST_F(Proxy, everySlotIsAReader) {
    EXPECT_EQ(readers().size(), 3U) << "two tokens, and the slot in which a third could be made";
    EXPECT_TRUE(choose("first"));
    EXPECT_TRUE(choose("second"));
    EXPECT_FALSE(choose("third"));
}

TEST_F(Proxy, eachTokenKeepsItsOwnPinsAndObjects) {
    for (const std::string label : {"first", "second"}) {
        ASSERT_TRUE(choose(label));
        plugin.terminate();
        ASSERT_EQ(plugin.initialize(), std::nullopt);
        ASSERT_TRUE(choose(label));
        const Params params = certificate("certificate", "of the " + label, "01");
        EXPECT_EQ(error("writeData", Params(params).hex("PIN", hex(label == "first" ? "second" : "first"))), "80ee");
        EXPECT_EQ(error("writeData", Params(params).hex("PIN", hex(label))), "0");
    }
    EXPECT_EQ(seen("first"), "of the first\n");
    EXPECT_EQ(seen("second"), "of the second\n");
    // The session stays on the token on which it was opened until the executor is terminated.
    ASSERT_TRUE(choose("first"));
    EXPECT_EQ(error("removeData", Params().plain("OBJ_TYPE", "CERTIFICATE")), "0");
    EXPECT_EQ(seen("first"), "of the first\n");
    EXPECT_EQ(seen("second"), "");
}

// In a process of its own, because it leaves SoftHSM2 initialised: the proxy hands out a function list of its own to
// each executor, and the plug-in finalises a module once, through that of its last executor.
TEST_F(HostOnProxy, twoExecutorsWorkOnTwoTokens) {
    const std::string firstReader = readerOf("first");
    const std::string secondReader = readerOf("second");
    plugin.free();
    folder.write("job", R"({"call":"newInstance","as":"a"}
{"call":"newInstance","as":"b"}
{"call":"initialize","on":"a"}
{"call":"initialize","on":"b"}
{"call":"execute","on":"a","operation":{"script":"getPlatformIdentifiers","parameters":{"READERNAME":{"hex":")" +
                            firstReader + R"("}}}}
{"call":"execute","on":"b","operation":{"script":"getPlatformIdentifiers","parameters":{"READERNAME":{"hex":")" +
                            secondReader + R"("}}}}
{"call":"execute","on":"a","operation":{"script":"authenticate",)" +
                            R"("parameters":{"AUTH_TYPE":"STATIC","PINID":"USER","PIN":{"text":"first"}}}}
{"call":"execute","on":"a","operation":{"script":"getAuthenticatorState"}}
{"call":"execute","on":"b","operation":{"script":"getAuthenticatorState"}}
)");
    const std::string answers = host("run job");
    EXPECT_THAT(answers, HasSubstr(R"("step":7,"call":"execute","on":"a","response":{"id":"7","parameters":[)"
                                   R"({"id":"ERROR","encoding":2,"type":3,"value":"0"},)"
                                   R"({"id":"AUTHSTATE","encoding":0,"type":1,"value":"1"}])"));
    EXPECT_THAT(answers, HasSubstr(R"("step":8,"call":"execute","on":"b","response":{"id":"8","parameters":[)"
                                   R"({"id":"ERROR","encoding":2,"type":3,"value":"0"},)"
                                   R"({"id":"AUTHSTATE","encoding":0,"type":1,"value":"2"}])"));
}

} // namespace
} // namespace Token
