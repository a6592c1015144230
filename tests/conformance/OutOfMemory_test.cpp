// What a host sees when there is no memory for an answer: never a foreign exception, and an executor that goes on.

#include "tests/conformance/Harness.h"
#include "tests/conformance/Operation.h"
#include "zel/ClientOperationException.h"

#include <new>

namespace Conformance::OutOfMemoryTests {
namespace {

class OutOfMemory : public PluginTest {};

/// A host's operation that has no memory for its parameters.
class PoorOperation final : public Zel::BaseDLLObjectImpl<Zel::ClientOperation> {
public:
    void* deletingDestructor(unsigned int flags) override { return runDestructor(this, flags); }
    [[nodiscard]] Zel::TString getId() const override { return L"1"; }
    [[nodiscard]] Zel::TString getScriptType() const override { return L"client.p11.Larkspur"; }
    [[nodiscard]] Zel::TString getScript() const override { return L"getCardState"; }
    [[nodiscard]] Zel::Vector<Zel::Parameter>* getParameters() const override { throw std::bad_alloc(); }
};

TEST_F(OutOfMemory, ofAModuleIsAFailureOfItsCall) {
    startWithReader();
    fake.hook<Fake::Function::C_FindObjects>(
        [](CK_SESSION_HANDLE, CK_OBJECT_HANDLE*, CK_ULONG, CK_ULONG*) -> CK_RV { throw std::bad_alloc(); });

    expectOutputs(execute("readData", Params().plain("OBJ_TYPE", "CERTIFICATE")), {errorIs("80f6"), countIs("0")});
    expectTraceAt(1, {{1, "PKCS11Client::readCertificate : C_FindObjects 0x02 : failed"}});
}

TEST_F(OutOfMemory, aLoginThatNoScriptMadeForItselfStays) {
    startWithReader();
    run("authenticate", Params().plain("AUTH_TYPE", "STATIC").plain("PINID", "USER").hex("PIN", "31323334"));
    fake.restartCallCount();
    fake.hook<Fake::Function::C_FindObjectsInit>(
        [](CK_SESSION_HANDLE, CK_ATTRIBUTE*, CK_ULONG) -> CK_RV { throw std::bad_alloc(); });
    const std::vector<std::pair<std::string, Params>> scripts = {
        {"removeData", Params().plain("OBJ_TYPE", "CERTIFICATE")},
        {"signData", Params().plain("ALGOID", "1.2.840.113549.1.1.1").hex("KEYID", "01").base64("DATA", "AQI=")},
        {"writeData", Params().plain("OBJ_TYPE", "CONTAINER_NAME").hex("KEYID", "01").hex("CONTAINER_NAME", "616263")},
    };
    for (const auto& [script, params] : scripts) {
        expectOutputs(execute(script, params), {errorIs("80f6")});
        EXPECT_EQ(fake.login(), Fake::Role::User) << script;
    }
    EXPECT_EQ(fake.callCount(Fake::Function::C_Logout), 0U);
}

TEST_F(OutOfMemory, aHostWithoutItGetsTheExecutorsOwnException) {
    start();
    PoorOperation operation;

    try {
        static_cast<void>(plugin.get()->execute(&operation));
        FAIL() << "no exception";
    } catch (const Zel::ClientOperationException& exception) {
        EXPECT_EQ(toUtf8(exception.getMessageText()), "Out of memory");
        EXPECT_EQ(toUtf8(exception.getErrorCode()), "80f6");
    }
    expectError(execute("getCardState"), "0");
}

} // namespace
} // namespace Conformance::OutOfMemoryTests
