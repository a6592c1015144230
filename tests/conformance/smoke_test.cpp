// One story from newInstance to freeInstance: shows how conformance tests are written, and that the ground holds.

#include "tests/conformance/Harness.h"

using namespace Conformance;

class Smoke : public PluginTest {};

TEST_F(Smoke, beginSynchronizationTouchesNoToken) {
    plugin = Executor(creation());
    ASSERT_TRUE(plugin);
    EXPECT_EQ(plugin.initialize(), std::nullopt);
    expectCalls({"C_GetFunctionList()", "C_Initialize(flags=0x2)"});
    forget();

    const Result result = execute("beginSynchronization");

    EXPECT_EQ(result.id, "1");
    expectOutputs(result, {done()});
    expectTrace(executeHead("beginSynchronization", std::nullopt) +
                Trace{{8, "PKCS11Client::beginSynchronisation"}, {16, "PKCS11Client::beginSynchronisation"}} +
                Trace{{4, "PKCS11Client::executeOperation parameter 0, ERROR = 0"}, {16, "PKCS11Client::execute"}});
    expectCalls({});

    plugin.terminate();
    plugin.free();
    expectCalls({"C_Finalize(null)"});
}

TEST_F(Smoke, parametersOfTheOperationAreReadAndTraced) {
    start();
    const Params params = Params().plain("AUTH_TYPE", "STATIC").hex("KEYID", "01");

    const Result result = execute("endSynchronization", params);

    expectOutputs(result, {done()});
    expectTrace(executeHead("endSynchronization", params.ids()) +
                Trace{{8, "PKCS11Client::endSynchronisation"}, {16, "PKCS11Client::endSynchronisation"}} +
                executeTail(result));
    expectCalls({});
}

TEST_F(Smoke, executingBeforeInitializeWithABadPinIdThrows) {
    plugin = Executor(creation());
    ASSERT_TRUE(plugin);
    expectFailure(plugin.initialize(Params().plain("PINID", "so")),
                  {"ClientOperationException", "80ec", "Bad parameter PINID: so"});
}

TEST_F(Smoke, aReaderIsFoundByTheHexOfItsDescription) {
    start();

    const Result result = execute("getPlatformIdentifiers", Params().hex("READERNAME", kReaderHex));

    expectOutputs(result, {done(),
                           {"SMOTYPE", 4, 0, "50313147454E45524943"},
                           {"SMOID", 4, 0, "30303030303030303030303030303131"},
                           {"LABEL", 4, 0, "46616B6520546F6B656E20202020202020202020202020202020202020202020"}});
    expectCalls({"C_GetSlotList(0, null)", "C_GetSlotList(0, room=1)", "C_GetSlotInfo(0x11)", "C_GetTokenInfo(0x11)"});
}
