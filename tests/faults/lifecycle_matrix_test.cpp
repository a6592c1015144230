// The calls around the scripts: binding the module, asking it for its name, and taking it down.

#include "tests/faults/matrix/Codes.h"
#include "tests/faults/matrix/LoginFrame.h"
#include "zel/ClientOperationExecutor.h"

namespace Faults {

namespace {

using Conformance::Executor;
using Fake::Function;
using Fake::When;

class LifecycleMatrix : public Conformance::PluginTest {
protected:
    void fresh() {
        plugin.free();
        fake.reset();
    }
    std::string bindingCalls() {
        std::string text;
        for (const std::string& call : fake.takeCalls()) {
            text += call + " ";
        }
        return text;
    }
    /// Every operation of an executor that has no module refuses; its end calls nothing.
    void expectNotReady(CK_RV code) {
        EXPECT_FALSE(plugin.get()->validate()) << codeText(code);
        const auto failure = plugin.initialize();
        ASSERT_TRUE(failure) << codeText(code);
        EXPECT_EQ(failure->message, "Plugin not validated");
        EXPECT_EQ(failure->code, "80ec");
        EXPECT_TRUE(plugin.execute("beginSynchronization").failure) << codeText(code);
        plugin.terminate();
        plugin.free();
        EXPECT_EQ(bindingCalls(), "") << codeText(code);
        EXPECT_EQ(Executor::alive(), 0);
    }
    void expectWorks(CK_RV code) {
        EXPECT_TRUE(plugin.get()->validate()) << codeText(code);
        EXPECT_EQ(plugin.initialize(), std::nullopt) << codeText(code);
        EXPECT_EQ(plugin.execute("getPlatformIdentifiers", Params().hex("READERNAME", Conformance::kReaderHex))
                      .value("ERROR"),
                  "0")
            << codeText(code);
    }
};

/// A failed C_GetFunctionList gives no list: C_Initialize is not called.
TEST_F(LifecycleMatrix, functionListThatIsRefused) {
    for (const CK_RV code : allCodes()) {
        fresh();
        fake.answerNext(Function::C_GetFunctionList, code); // CKR_OK too: nothing is written
        plugin = Executor(creation());
        ASSERT_TRUE(plugin) << codeText(code);
        EXPECT_EQ(bindingCalls(), "C_GetFunctionList() ") << codeText(code);
        expectNotReady(code);
    }
}

/// A list that was filled is used, whatever was said about it.
TEST_F(LifecycleMatrix, functionListThatCameWithARefusal) {
    for (const CK_RV code : allCodes()) {
        fresh();
        fake.answerNext(Function::C_GetFunctionList, code, 1, When::After);
        plugin = Executor(creation());
        ASSERT_TRUE(plugin) << codeText(code);
        EXPECT_EQ(bindingCalls(), "C_GetFunctionList() C_Initialize(flags=0x2) ") << codeText(code);
        expectWorks(code);
        plugin.terminate();
        forget();
        plugin.free();
        EXPECT_EQ(bindingCalls(), "C_Finalize(null) ");
    }
}

/// Success and "somebody did it before" are both good; only the first is finalised.
TEST_F(LifecycleMatrix, initializeOfTheModule) {
    for (const CK_RV code : allCodes()) {
        fresh();
        const bool isDoneBefore = code == CKR_CRYPTOKI_ALREADY_INITIALIZED;
        fake.setInitialized(isDoneBefore);
        fake.answerNext(Function::C_Initialize, code, 1, code == CKR_OK ? When::After : When::Before);
        plugin = Executor(creation());
        ASSERT_TRUE(plugin) << codeText(code);
        EXPECT_EQ(bindingCalls(), "C_GetFunctionList() C_Initialize(flags=0x2) ") << codeText(code);
        if (code != CKR_OK && !isDoneBefore) {
            expectNotReady(code);
            continue;
        }
        expectWorks(code);
        plugin.terminate();
        forget();
        plugin.free();
        EXPECT_EQ(bindingCalls(), isDoneBefore ? "" : "C_Finalize(null) ") << codeText(code);
    }
    fake.setInitialized(false);
}

/// However the close goes, the executor has no session any more and can be initialised again.
TEST_F(LifecycleMatrix, terminate) {
    for (const CK_RV code : allCodes()) {
        fresh();
        startWithReader(Params().hex("PIN", kUserPin));
        run("readData", Params());
        fake.answerNext(Function::C_CloseSession, code, 1, code == CKR_OK ? When::After : When::Before);
        plugin.terminate();
        EXPECT_EQ(bindingCalls(), "C_CloseSession(0x1) ") << codeText(code);
        EXPECT_EQ(plugin.initialize(), std::nullopt) << codeText(code);
        EXPECT_EQ(execute("readData", Params()).value("ERROR"), "0") << codeText(code);
        EXPECT_EQ(bindingCalls(), "C_OpenSession(0x11, flags=0x4) ") << codeText(code);
    }
}

/// Neither a session that will not close nor a module that will not end keeps an executor alive.
TEST_F(LifecycleMatrix, freeInstance) {
    for (const Function function : {Function::C_CloseSession, Function::C_Finalize}) {
        for (const CK_RV code : allCodes()) {
            fresh();
            startWithReader(Params().hex("PIN", kUserPin));
            run("readData", Params());
            fake.answerNext(function, code, 1, code == CKR_OK ? When::After : When::Before);
            plugin.free();
            EXPECT_EQ(bindingCalls(), "C_CloseSession(0x1) C_Finalize(null) ") << codeText(code);
            EXPECT_EQ(Executor::alive(), 0);
        }
    }
    fake.setInitialized(false);
}

/// The module's own words are left out when it does not tell them.
TEST_F(LifecycleMatrix, getDescription) {
    for (const CK_RV code : allCodes()) {
        fresh();
        start();
        const std::string described = Conformance::toUtf8(plugin.get()->getDescription());
        forget();
        fake.answerNext(Function::C_GetInfo, code, 1, code == CKR_OK ? When::After : When::Before);
        const std::string text = Conformance::toUtf8(plugin.get()->getDescription());
        EXPECT_EQ(bindingCalls(), "C_GetInfo() ") << codeText(code);
        const std::size_t own = described.find("\nManufacturer ID=");
        ASSERT_NE(own, std::string::npos);
        EXPECT_EQ(text, code == CKR_OK ? described : described.substr(0, own)) << codeText(code);
        EXPECT_EQ(execute("beginSynchronization").value("ERROR"), "0") << codeText(code);
    }
}

} // namespace

} // namespace Faults
