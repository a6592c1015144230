// Modules that leave functions out.

#include "tests/faults/Hostile.h"

#include "tests/faults/matrix/Codes.h"

#include <set>

namespace Faults {

namespace {

using Fake::Function;

const char* const kNullStories[] = {"OneReader",
                                    "FirstReader",
                                    "StateOfUserWithoutSession",
                                    "LoginOfUser",
                                    "LoginOfUserWhileUserIsIn",
                                    "LogoutOfUser",
                                    "ChangeOfUserPin",
                                    "ChangeOfOfficerPin",
                                    "FirstPin",
                                    "Unlock",
                                    "UnlockWithWrongKeyAtLastTry",
                                    "InitWhileUserIsIn",
                                    "RecycleWhileOfficerIsIn",
                                    "WriteCertificateNoSession",
                                    "WritePrivateKeyNoSession",
                                    "WriteKeyPairNoSession",
                                    "NameContainerNoSession",
                                    "RemoveCertificateNoSession",
                                    "RemoveNothingNoSession",
                                    "Read1CertificatesNoSession",
                                    "Read1PublicKeysNoSession",
                                    "GenerateKeyPairNoSession",
                                    "SignNoSession",
                                    "SignUserLoggedIn"};

/// A story whose module lacks one function. That function answers as if it were not supported, each time, so what
/// becomes of the request is what the story says of its first call.
struct Lack {
    std::string story;
    std::string function;
    std::string error;
};

void PrintTo(const Lack& lack, std::ostream* out) {
    *out << lack.story << " without " << lack.function;
}

std::vector<Lack> allLacks() {
    std::vector<Lack> lacks;
    for (const char* name : kNullStories) {
        const Story story = storyNamed(name);
        std::set<std::string> seen;
        for (const Step& step : story.steps) {
            const std::string function = step.call.substr(0, step.call.find('('));
            if (!seen.insert(function).second) {
                continue;
            }
            const Outcome& outcome = step.otherwise;
            // The one that signs tells its last result, which this is when it would log out for ever.
            const bool isLast = std::string_view(name) == "SignNoSession" && function == "C_Logout";
            const std::string error = isLast ? kMapped : outcome.isGood ? story.good.error : outcome.error;
            lacks.push_back({name, function, error == kMapped ? "80f4" : error});
        }
    }
    return lacks;
}

Function functionNamed(const std::string& name) {
    unsigned i = 0;
    while (name != Fake::functionName(static_cast<Function>(i))) {
        ++i;
    }
    return static_cast<Function>(i);
}

class NullEntry : public HostileTest, public ::testing::WithParamInterface<Lack> {};

TEST_P(NullEntry, endsInAClearCode) {
    const Story story = storyNamed(GetParam().story);
    setStage(story);
    fake.setNullEntry(functionNamed(GetParam().function));

    const Conformance::Result result = execute(story.script, story.params);

    expectError(result, GetParam().error);
    for (const std::string& call : calls()) {
        EXPECT_FALSE(call.starts_with(GetParam().function + "(")) << call;
    }
    expectUsable();
}

INSTANTIATE_TEST_SUITE_P(Functions, NullEntry, ::testing::ValuesIn(allLacks()),
                         [](const auto& lack) { return lack.param.story + "_" + lack.param.function; });

class NullModule : public HostileTest {};

TEST_F(NullModule, withoutInitializeIsNotReady) {
    fake.setNullEntry(Function::C_Initialize);
    plugin = Conformance::Executor(creation());
    ASSERT_TRUE(plugin);
    EXPECT_FALSE(plugin.get()->validate());
    expectFailure(plugin.initialize(), {"ClientOperationException", "80ec", "Plugin not validated"});
}

TEST_F(NullModule, withoutFinalizeIsLeftAsItIs) {
    startWithReader();
    fake.setNullEntry(Function::C_Finalize);
    plugin.free();
    EXPECT_EQ(Conformance::Executor::alive(), 0);
    EXPECT_TRUE(fake.isInitialized());
    fake.setInitialized(false);
}

TEST_F(NullModule, withoutGetInfoIsDescribedWithoutIt) {
    start();
    fake.setNullEntry(Function::C_GetInfo);
    EXPECT_EQ(Conformance::toUtf8(plugin.get()->getDescription()).find("Manufacturer"), std::string::npos);
    expectUsable();
}

TEST_F(NullModule, withoutAListIsNotReady) {
    fake.setNullList();
    plugin = Conformance::Executor(creation());
    ASSERT_TRUE(plugin);
    EXPECT_FALSE(plugin.get()->validate());
    expectFailure(plugin.execute("getReaderList").failure,
                  {"ClientOperationException", "80ec", "Plugin not validated"});
    EXPECT_EQ(Conformance::toUtf8(plugin.get()->getDescription()).find("Manufacturer"), std::string::npos);
}

TEST_F(NullModule, withoutTheOneExportIsNotReady) {
    plugin = Conformance::Executor(Params().plain("DLLNAME", Fake::emptyModuleFile()));
    ASSERT_TRUE(plugin);
    EXPECT_FALSE(plugin.get()->validate());
    expectFailure(plugin.execute("signData").failure, {"ClientOperationException", "80ec", "Plugin not validated"});
}

TEST_F(NullModule, withoutCloseSessionIsLetGo) {
    startWithReader();
    run("readData", Params());
    fake.setNullEntry(Function::C_CloseSession);
    plugin.terminate();
    EXPECT_EQ(plugin.initialize(), std::nullopt);
    expectUsable();
}

} // namespace

} // namespace Faults
