// Binding the module, initialising Cryptoki, and what the end of an executor does to both.

#include "plugin/Exports.h"
#include "tests/conformance/Harness.h"
#include "tests/conformance/LifecycleTrace.h"

using namespace Conformance;
using Fake::Function;
using Fake::When;

namespace {

Trace bindFailed(CK_RV rv) {
    return {{1, textf("PKCS11Client::PKCS11Client: C_GetFunctionList failed 0x%x", low(rv))}};
}

/// With a blank before the colon.
Trace initializeFailed(CK_RV rv) {
    return {{1, textf("PKCS11Client::PKCS11Client : C_Initialize failed 0x%x", low(rv))}};
}

constexpr bool kHasWideResults = sizeof(CK_RV) > 4;
/// A result above 32 bits whose low bits look like `rv`.
[[maybe_unused]] constexpr CK_RV above(CK_RV rv) {
    return rv | static_cast<CK_RV>(std::uint64_t{1} << (kHasWideResults ? 32 : 0));
}

} // namespace

class Lifecycle : public PluginTest {
protected:
    std::string m_file = Fake::moduleFile();
    Executor m_other;

    void TearDown() override {
        m_other.free();
        PluginTest::TearDown();
    }

    void make() {
        plugin = Executor(creation());
        ASSERT_TRUE(plugin);
    }

    /// A session that is open and logged in, as a script leaves it.
    void openSession() {
        run("getPlatformIdentifiers", Params().hex("READERNAME", kReaderHex));
        run("authenticate", Params().plain("AUTH_TYPE", "STATIC").hex("PIN", "31323334"));
    }

    /// Every operation says that the executor cannot be used, and nothing reaches the module.
    void expectUnusable() {
        forget();
        EXPECT_FALSE(plugin.get()->validate());
        expectFailure(plugin.initialize(), kNotValidated);
        expectFailure(execute("beginSynchronization").failure, kNotValidated);
        expectFailure(plugin.executeNull().failure, kNotValidated);
        plugin.terminate();
        expectCalls({});
    }

    void expectUsable() {
        EXPECT_TRUE(plugin.get()->validate());
        EXPECT_EQ(plugin.initialize(), std::nullopt);
        expectError(execute("beginSynchronization"), "0");
    }
};

// Binding

TEST_F(Lifecycle, aLibraryWithoutGetFunctionListIsNotReady) {
    const std::string empty = Fake::emptyModuleFile();
    plugin = Executor(Params().plain("DLLNAME", empty));
    ASSERT_TRUE(plugin);
    expectTrace(newInstanceTrace(
        empty, 1,
        constructorTrace(call("PKCS11Client", "C_GetFunctionList") +
                         Trace{{1, "PKCS11Client::PKCS11Client: Unable to ProcAddress C_GetFunctionList"}})));
    expectUnusable();
    forget();
    plugin.free();
    expectTrace(freeInstanceTrace(destructorTrace(0, empty, notReadyTrace())));
}

TEST_F(Lifecycle, aFailedGetFunctionListWithoutListIsNotReady) {
    fake.answerNext(Function::C_GetFunctionList, CKR_FUNCTION_FAILED);
    make();
    expectTrace(newInstanceTrace(m_file, 1, constructorTrace(functionListTrace() + bindFailed(CKR_FUNCTION_FAILED))));
    expectCalls({"C_GetFunctionList()"});
    expectUnusable();
    forget();
    plugin.free();
    expectTrace(freeInstanceTrace(destructorTrace(0, m_file, notReadyTrace())));
    expectCalls({});
}

TEST_F(Lifecycle, aFailedGetFunctionListThatFilledTheListIsGoneOnWith) {
    fake.answerNext(Function::C_GetFunctionList, CKR_GENERAL_ERROR, 1, When::After);
    make();
    expectTrace(newInstanceTrace(
        m_file, 1,
        constructorTrace(functionListTrace() + bindFailed(CKR_GENERAL_ERROR) + call("PKCS11Client", "C_Initialize"))));
    expectCalls({"C_GetFunctionList()", "C_Initialize(flags=0x2)"});
    expectUsable();
}

TEST_F(Lifecycle, aNullFunctionListSkipsInitialize) {
    fake.setNullList();
    make();
    expectTrace(newInstanceTrace(m_file, 1, constructorTrace(functionListTrace())));
    expectCalls({"C_GetFunctionList()"});
    expectUnusable();
}

TEST_F(Lifecycle, aFailedGetFunctionListWithNullListSkipsInitialize) {
    fake.setNullList();
    fake.answerNext(Function::C_GetFunctionList, CKR_HOST_MEMORY, 1, When::After);
    make();
    expectTrace(newInstanceTrace(m_file, 1, constructorTrace(functionListTrace() + bindFailed(CKR_HOST_MEMORY))));
    expectUnusable();
}

TEST_F(Lifecycle, aListWithoutInitializeIsNotReady) {
    fake.setNullEntry(Function::C_Initialize);
    make();
    expectTrace(newInstanceTrace(m_file, 1,
                                 constructorTrace(functionListTrace() + call("PKCS11Client", "C_Initialize") +
                                                  initializeFailed(CKR_FUNCTION_NOT_SUPPORTED))));
    expectCalls({"C_GetFunctionList()"});
    expectUnusable();
}

TEST_F(Lifecycle, initializeGetsNoMutexCallbacksAndTheLockingFlag) {
    CK_FLAGS flags = 0;
    bool isBare = false;
    fake.hook<Function::C_Initialize>([&](void* arguments) -> CK_RV {
        const auto* args = static_cast<const CK_C_INITIALIZE_ARGS*>(arguments);
        flags = args->flags;
        isBare = args->CreateMutex == nullptr && args->DestroyMutex == nullptr && args->LockMutex == nullptr &&
                 args->UnlockMutex == nullptr && args->pReserved == nullptr;
        return fake.honest().C_Initialize(arguments);
    });
    make();
    EXPECT_EQ(flags, CK_FLAGS{0x2});
    EXPECT_TRUE(isBare);
    plugin.free();
    fake.unhook(Function::C_Initialize);
}

class FailedInitialize : public Lifecycle, public testing::WithParamInterface<CK_RV> {};

TEST_P(FailedInitialize, isNotReady) {
    fake.answerNext(Function::C_Initialize, GetParam());
    make();
    expectTrace(newInstanceTrace(
        m_file, 1,
        constructorTrace(functionListTrace() + call("PKCS11Client", "C_Initialize") + initializeFailed(GetParam()))));
    expectUnusable();
    forget();
    plugin.free();
    expectTrace(freeInstanceTrace(destructorTrace(0, m_file, notReadyTrace())));
    expectCalls({});
}

INSTANTIATE_TEST_SUITE_P(Results, FailedInitialize,
                         testing::Values(CKR_HOST_MEMORY, CKR_GENERAL_ERROR, CKR_ARGUMENTS_BAD, CKR_CANT_LOCK,
                                         CKR_CRYPTOKI_NOT_INITIALIZED, CK_RV{0x192}, CK_RV{0x80000000}));

TEST_F(Lifecycle, aResultAboveThirtyTwoBitsIsNoSuccess) {
    if constexpr (kHasWideResults) {
        for (const CK_RV rv : {CKR_OK, CKR_CRYPTOKI_ALREADY_INITIALIZED}) {
            fake.answerNext(Function::C_Initialize, above(rv));
            forget();
            make();
            expectTraceAt(1, initializeFailed(rv));
            expectUnusable();
        }
    } else {
        GTEST_SKIP() << "results have 32 bits on this system";
    }
}

// Who finalises

TEST_F(Lifecycle, aModuleThatWasInitializedBeforeIsUsedAndNeverFinalized) {
    fake.setInitialized(true);
    make();
    expectTrace(newInstanceTrace(m_file, 1, boundTrace()));
    expectUsable();
    forget();
    plugin.free();
    expectTrace(freeInstanceTrace(destructorTrace(0, m_file, notFinalizedTrace())));
    expectCalls({});
    leavesInitialized = true;
}

TEST_F(Lifecycle, secondMadeEndedFirstThenTheFirstFinalizes) {
    make();
    m_other = Executor(creation());
    forget();
    m_other.free();
    expectTrace(freeInstanceTrace(destructorTrace(1, m_file, notFinalizedTrace())));
    expectCalls({});
    plugin.free();
    expectTrace(freeInstanceTrace(destructorTrace(0, m_file, finalizedTrace())));
    expectCalls({"C_Finalize(null)"});
}

TEST_F(Lifecycle, firstMadeEndedFirstThenNobodyFinalizes) {
    make();
    m_other = Executor(creation());
    forget();
    plugin.free();
    expectTrace(freeInstanceTrace(destructorTrace(1, m_file, notFinalizedTrace())));
    m_other.free();
    expectTrace(freeInstanceTrace(destructorTrace(0, m_file, notFinalizedTrace())));
    expectCalls({});
    EXPECT_TRUE(fake.isInitialized());
    leavesInitialized = true;
}

TEST_F(Lifecycle, anUnusableExecutorThatIsAliveKeepsTheOwnerFromFinalizing) {
    make();
    fake.answerNext(Function::C_Initialize, CKR_GENERAL_ERROR);
    m_other = Executor(creation());
    forget();
    plugin.free();
    expectTrace(freeInstanceTrace(destructorTrace(1, m_file, notFinalizedTrace())));
    m_other.free();
    expectTrace(freeInstanceTrace(destructorTrace(0, m_file, notReadyTrace())));
    expectCalls({});
    leavesInitialized = true;
}

TEST_F(Lifecycle, theNextExecutorAfterTheLastInitializesAgain) {
    make();
    plugin.free();
    forget();
    make();
    expectCalls({"C_GetFunctionList()", "C_Initialize(flags=0x2)"});
    plugin.free();
    expectCalls({"C_Finalize(null)"});
}

TEST_F(Lifecycle, aFailedFinalizeIsOnlyTold) {
    make();
    forget();
    fake.answerNext(Function::C_Finalize, CKR_FUNCTION_FAILED);
    plugin.free();
    expectTrace(freeInstanceTrace(destructorTrace(
        0, m_file, finalizedTrace() + Trace{{1, "PKCS11Client::~PKCS11Client : C_Finalize failed 0x6"}})));
    leavesInitialized = true;
}

// The session at the end

TEST_F(Lifecycle, theOpenSessionIsClosedBeforeFinalize) {
    start();
    openSession();
    plugin.free();
    expectTrace(freeInstanceTrace(
        destructorTrace(0, m_file, sessionCall("~PKCS11Client", "C_CloseSession", 0x1) + finalizedTrace())));
    expectCalls({"C_CloseSession(0x1)", "C_Finalize(null)"});
}

TEST_F(Lifecycle, aSessionThatCannotBeClosedDoesNotKeepFromFinalizing) {
    start();
    openSession();
    fake.answerNext(Function::C_CloseSession, CKR_DEVICE_ERROR);
    plugin.free();
    expectTrace(freeInstanceTrace(destructorTrace(
        0, m_file,
        sessionCall("~PKCS11Client", "C_CloseSession", 0x1) +
            Trace{{1, "PKCS11Client::~PKCS11Client : C_CloseSession failed 0x30"}} + finalizedTrace())));
    expectCalls({"C_CloseSession(0x1)", "C_Finalize(null)"});
    leavesSessions = true;
}

TEST_F(Lifecycle, aSessionThatTerminateClosedIsNotClosedAgain) {
    start();
    openSession();
    plugin.terminate();
    forget();
    plugin.free();
    expectTrace(freeInstanceTrace(destructorTrace(0, m_file, finalizedTrace())));
    expectCalls({"C_Finalize(null)"});
}

TEST_F(Lifecycle, theSessionIsClosedAlsoWhereNobodyFinalizes) {
    fake.setInitialized(true);
    start();
    openSession();
    plugin.free();
    expectTrace(freeInstanceTrace(
        destructorTrace(0, m_file, sessionCall("~PKCS11Client", "C_CloseSession", 0x1) + notFinalizedTrace())));
    expectCalls({"C_CloseSession(0x1)"});
    leavesInitialized = true;
}

TEST_F(Lifecycle, handlesAreNotNarrowed) {
    // All bits of 32 set is no session where handles have 32 bits, and an ordinary handle where they have 64.
    if constexpr (sizeof(CK_SESSION_HANDLE) > 4) {
        fake.setNextSessionHandle(0xFFFFFFFF);
        start();
        openSession();
        plugin.free();
        expectCalls({"C_CloseSession(0xffffffff)", "C_Finalize(null)"});
        expectTraceAt(4 | 1, exported(4, "freeInstance: Releasing plugin instance") +
                                 Trace{{4, "PKCS11Client::~PKCS11Client:  InstancesCount = 0 (" + m_file + ")"},
                                       {4, "PKCS11Client::~PKCS11Client: --> hSession=0xffffffff"},
                                       {4, "PKCS11Client::~PKCS11Client: Releasing CryptoLib"}});
    }
    fake.setNextSessionHandle(static_cast<CK_SESSION_HANDLE>(-1) - 1);
    start();
    openSession();
    plugin.free();
    expectCalls({textf("C_CloseSession(0x%s)", std::string(sizeof(CK_ULONG) * 2 - 1, 'f').append("e").c_str()),
                 "C_Finalize(null)"});
}

// The two ways out

TEST_F(Lifecycle, destroyEndsTheExecutorAsFreeInstanceDoes) {
    const ParameterVector params = creation().vector();
    Zel::ClientOperationExecutor* const executor = newInstance(params.get());
    ASSERT_NE(executor, nullptr);
    forget();
    executor->destroy();
    expectTrace(destructorTrace(0, m_file, finalizedTrace()));
    expectCalls({"C_Finalize(null)"});
}

TEST_F(Lifecycle, theDeletingDestructorLeavesTheStorageWhereItsFlagIsNotSet) {
    const ParameterVector params = creation().vector();
    Zel::ClientOperationExecutor* const executor = newInstance(params.get());
    ASSERT_NE(executor, nullptr);
    forget();
    void* const storage = executor->deletingDestructor(0);
    EXPECT_EQ(storage, static_cast<void*>(executor));
    expectTrace(destructorTrace(0, m_file, finalizedTrace()));
    Zel::release(storage);
}

// The cycle

TEST_F(Lifecycle, readinessNeverChanges) {
    start();
    openSession();
    fake.answerNext(Function::C_CloseSession, CKR_DEVICE_REMOVED);
    plugin.terminate();
    EXPECT_TRUE(plugin.get()->validate());
    EXPECT_EQ(plugin.initialize(), std::nullopt);
    EXPECT_TRUE(plugin.get()->validate());
    fake.dropSessions();
}

TEST_F(Lifecycle, initializeMayFollowTerminateAnyNumberOfTimes) {
    start();
    for (int i = 0; i < 3; ++i) {
        plugin.terminate();
        EXPECT_EQ(plugin.initialize(), std::nullopt);
    }
    expectError(execute("endSynchronization"), "0");
}
