// Memory that runs out inside the plug-in's own code, block by block.

#include "plugin/Entry.h"
#include "plugin/Exports.h"
#include "tests/conformance/Harness.h"
#include "tests/conformance/Utf8.h"
#include "tests/heap/Heap.h"
#include "tests/unit/platform/Fixture.h"
#include "text/SecretBuffer.h"
#include "zel/ClientOperation.h"
#include "zel/ClientOperationException.h"

#include <algorithm>

namespace Conformance::ScarceMemoryTests {

using Fake::Function;
using plugin::onEntry;
using TestHeap::Scarcity;

namespace {

/// Its parameters were made while there was memory.
class ReadyOperation final : public Zel::BaseDLLObjectImpl<Zel::ClientOperation> {
public:
    ReadyOperation(const char* script, const Params& params)
        : m_script(toTString(script)), m_pParams(params.vector().release()) {}
    void* deletingDestructor(unsigned int flags) override { return runDestructor(this, flags); }
    [[nodiscard]] Zel::TString getId() const override { return L"1"; }
    [[nodiscard]] Zel::TString getScriptType() const override { return L"client.p11.Larkspur"; }
    [[nodiscard]] Zel::TString getScript() const override { return m_script; }
    [[nodiscard]] Zel::Vector<Zel::Parameter>* getParameters() const override { return m_pParams; }

private:
    Zel::TString m_script;
    Zel::Vector<Zel::Parameter>* m_pParams; ///< whoever asks, once, owns it
};

} // namespace

class ScarceMemory : public PluginTest {
protected:
    static constexpr std::size_t kLong = 100000;

    platform::DynamicLibrary m_versioned = platform::DynamicLibrary::load(versionedLibrary().c_str());

    /// "ERROR" of the script, or the code of the exception, without long blocks.
    std::string errorOf(const char* script, const Params& params) {
        ReadyOperation operation(script, params);
        const Scarcity scarcity(kLong);
        try {
            Zel::ClientOperationResponse* const response = plugin.get()->execute(&operation);
            const std::string error = toUtf8(response->getResponseParameters().at(0)->getValue());
            response->destroy();
            return error;
        } catch (const Zel::ClientOperationException& exception) {
            return "thrown " + toUtf8(exception.getErrorCode());
        }
    }
};

TEST_F(ScarceMemory, withoutAnyThereIsNoExecutor) {
    const ParameterVector parameters = creation().vector();
    forget();
    Zel::ClientOperationExecutor* executor = nullptr;
    {
        const Scarcity none(1);
        executor = newInstance(parameters.get());
    }
    EXPECT_EQ(executor, nullptr);

    plugin = Executor(creation());
    EXPECT_TRUE(plugin);
}

TEST_F(ScarceMemory, anAccessValueThatFindsNoneIsTheExecutorsOwnException) {
    plugin = Executor(creation());
    const ParameterVector access = Params().plain("KEYID", "01").base64("DATA", std::string(2 * kLong, 'A')).vector();
    std::string code;
    std::string message;
    {
        const Scarcity scarcity(kLong);
        try {
            plugin.get()->initialize(access.get(), nullptr);
        } catch (const Zel::ClientOperationException& exception) {
            code = toUtf8(exception.getErrorCode());
            message = toUtf8(exception.getMessageText());
        }
    }
    EXPECT_EQ(code, "80f6");
    EXPECT_EQ(message, "Out of memory");
    // It has not begun, so that it can begin now.
    EXPECT_EQ(plugin.initialize(), std::nullopt);
}

TEST_F(ScarceMemory, aPinOfABeginningThatFindsNoneIsForgotten) {
    plugin = Executor(creation());
    const ParameterVector access =
        Params().hex("PIN", "39393939").base64("KEYID", std::string(2 * kLong, 'A')).plain("PINID", "SO").vector();
    {
        const Scarcity scarcity(kLong);
        EXPECT_THROW(plugin.get()->initialize(access.get(), nullptr), Zel::ClientOperationException);
    }
    EXPECT_EQ(plugin.initialize(), std::nullopt);
    run("getPlatformIdentifiers", Params().hex("READERNAME", kReaderHex));
    forget();
    // There is no PIN to log in with, the user's or anybody's.
    expectError(execute("removeData", Params().plain("OBJ_TYPE", "CERTIFICATE")), "80f8");
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)"});
}

TEST_F(ScarceMemory, anAttributeThatFindsNoneIsAFailureOfTheScript) {
    startWithReader();
    fake.addObject(Fake::Attributes().number(CKA_CLASS, CKO_CERTIFICATE).hex(CKA_VALUE, "3082"));
    fake.hook<Function::C_GetAttributeValue>(
        [](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* list, CK_ULONG) -> CK_RV {
            list[0].ulValueLen = kLong;
            return CKR_OK;
        });
    {
        const Scarcity scarcity(kLong);
        expectOutputs(execute("readData", Params().plain("OBJ_TYPE", "CERTIFICATE")), {errorIs("80f6"), countIs("0")});
    }
    expectTraceAt(1, {{1, "PKCS11Client::readCertificate : C_GetAttributeValue 0x02 : failed"}});
}

TEST_F(ScarceMemory, aPinBeforeAValueThatFindsNoneIsForgotten) {
    startWithReader(Params().hex("PIN", "31323334"));
    const Params wanting =
        Params().hex("PIN", "39393939").base64("KEYID", std::string(2 * kLong, 'A')).plain("PINID", "SO");
    EXPECT_EQ(errorOf("getCardState", wanting), "thrown 80f6");
    run("getCardState", Params());
    forget();
    // The user is logged in with his own PIN, not with that of nobody knows whom.
    expectError(execute("removeData", Params().plain("OBJ_TYPE", "CERTIFICATE").hex("LABEL", "41")), "80f3");
    const std::vector<std::string> made = calls();
    EXPECT_NE(std::find(made.begin(), made.end(), "C_Login(0x1, CKU_USER, 31323334)"), made.end());
}

TEST_F(ScarceMemory, aScriptThatFindsNoneEndsItsLogin) {
    startWithReader(Params().hex("PIN", "31323334"));
    const Params wanting = Params()
                               .plain("OBJ_TYPE", "CERTIFICATE")
                               .plain("CERT_TYPE", "X_509")
                               .bytes("DATA", "3082")
                               .hex("LABEL", std::string(2 * kLong, '4'));
    EXPECT_EQ(errorOf("writeData", wanting), "80f6");
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_USER, 31323334)",
                 "C_Logout(0x1)"});
    EXPECT_EQ(fake.login(), Fake::Role::Nobody);
}

TEST_F(ScarceMemory, loadingGoesOnWithoutAVersion) {
    {
        const Scarcity none(1);
        onEntry(moduleOf(m_versioned), 1);
    }
    start();
    EXPECT_EQ(toUtf8(plugin.get()->getVersion()), "?");
    onEntry(moduleOf(m_versioned), 1);
    EXPECT_EQ(toUtf8(plugin.get()->getVersion()), FIXTURE_VERSION);
    onEntry(nullptr, 1);
}

TEST_F(ScarceMemory, aQueryThatFindsNoneAnswersAnEmptyText) {
    onEntry(moduleOf(m_versioned), 1);
    start();
    Zel::TString name(L"name");
    Zel::TString description(L"description");
    {
        const Scarcity none(1);
        name = plugin.get()->getName();
        description = plugin.get()->getDescription();
    }
    EXPECT_EQ(toUtf8(name), "");
    EXPECT_EQ(toUtf8(description), "");
    onEntry(nullptr, 1);
}

TEST_F(ScarceMemory, aBufferThatFindsNoneIsNull) {
    const Scarcity scarcity(kLong);
    EXPECT_TRUE(SecretBuffer::tryAllocate(kLong).isNull());
    EXPECT_FALSE(SecretBuffer::tryAllocate(kLong / 2).isNull());
}

} // namespace Conformance::ScarceMemoryTests
