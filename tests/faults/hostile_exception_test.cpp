// Modules that let a C++ exception out of a call: it counts as a failure of that call, and is gone before the module
// is.

#include "platform/DynamicLibrary.h"
#include "tests/conformance/Harness.h"
#include "tests/conformance/Utf8.h"
#include "tests/faults/module/Throws.h"

#include <array>

namespace Faults {

namespace {

using Conformance::Executor;
using Conformance::kRsa;
using Conformance::Params;

struct Kind {
    Thrown thrown;
    const char* error; ///< of a script
    const char* code;  ///< of the call
};
constexpr std::array kKinds{
    Kind{Thrown::BadAlloc, "80f6", "2"}, Kind{Thrown::RuntimeError, "80f7", "5"}, Kind{Thrown::Number, "80f7", "5"},
    Kind{Thrown::OwnClass, "80f7", "5"}, Kind{Thrown::OwnBadAlloc, "80f6", "2"},
};

class HostileException : public Conformance::PluginTest, public testing::WithParamInterface<Kind> {
protected:
    static Params throwing() { return Params().plain("DLLNAME", THROWS_MODULE_FILE); }

    /// What the module's next call of this function does. The module is loaded for this alone when nobody else has it.
    void throwFrom(const char* function, Thrown thrown) {
        const auto library = platform::DynamicLibrary::load(Conformance::toTString(THROWS_MODULE_FILE).c_str());
        ASSERT_TRUE(library.isLoaded());
        reinterpret_cast<ThrowFrom*>(library.symbol("throwFrom"))(function, thrown);
    }

    /// Keeps the module's orders while no executor has it loaded.
    platform::DynamicLibrary keep() {
        return platform::DynamicLibrary::load(Conformance::toTString(THROWS_MODULE_FILE).c_str());
    }

    void begin() {
        plugin = Executor(throwing());
        ASSERT_TRUE(plugin);
        ASSERT_EQ(plugin.initialize(Params().hex("PIN", "31323334")), std::nullopt);
        ASSERT_EQ(plugin.execute("getPlatformIdentifiers", Params().hex("READERNAME", "52")).value("ERROR"), "0");
        forget();
    }

    /// The failure line of the call that threw, in the words of its method.
    void expectCode(const std::string& code) {
        for (const auto& line : trace().lines) {
            if (line.level == 1 && line.text.find("0x0" + code) != std::string::npos) {
                return;
            }
        }
        ADD_FAILURE() << "no line reports 0x0" << code;
    }
};

struct Call {
    const char* function;
    const char* script;
    Params params;
};

Params signing() {
    return Params().plain("ALGOID", kRsa).hex("KEYID", "01").base64("DATA", "AQI=");
}
Params named(const char* type) {
    return Params().plain("OBJ_TYPE", type);
}
Params container() {
    return named("CONTAINER_NAME").hex("KEYID", "01").hex("CONTAINER_NAME", "61");
}
Params pair() {
    return Params().plain("ALGOID", kRsa).plain("KEYSIZE", "1024").base64("PUBLICEXPONENT", "AQAB");
}

std::vector<Call> reachedCalls() {
    const Params certificate = named("CERTIFICATE").plain("CERT_TYPE", "X_509").bytes("DATA", "3082");
    const Params init = Params().plain("INIT_KEYID", "SO").hex("INIT_KEY", "31");
    const Params firstPin = Params().plain("INIT_KEYID", "SO").plain("PINID", "USER").hex("PIN", "31");
    const Params change = Params().plain("PINID", "USER").hex("OLD_PIN", "31").hex("NEW_PIN", "32");
    const Params login = Params().plain("AUTH_TYPE", "STATIC").plain("PINID", "USER").hex("PIN", "31");
    return {
        {"C_GetSlotList", "getReaderList", {}},
        {"C_GetSlotInfo", "getReaderList", {}},
        {"C_GetTokenInfo", "getPlatformIdentifiers", Params().hex("READERNAME", "52")},
        {"C_InitToken", "init", init},
        {"C_InitPIN", "initAuthenticator", firstPin},
        {"C_SetPIN", "changeAuthenticator", change},
        {"C_OpenSession", "readData", named("CERTIFICATE")},
        {"C_GetSessionInfo", "signData", signing()},
        {"C_Login", "authenticate", login},
        {"C_Logout", "deauthenticate", Params().plain("PINID", "USER")},
        {"C_CreateObject", "writeData", certificate},
        {"C_DestroyObject", "removeData", named("CERTIFICATE")},
        {"C_GetAttributeValue", "readData", named("CERTIFICATE")},
        {"C_SetAttributeValue", "writeData", container()},
        {"C_FindObjectsInit", "signData", signing()},
        {"C_FindObjects", "signData", signing()},
        {"C_FindObjectsFinal", "signData", signing()},
        {"C_SignInit", "signData", signing()},
        {"C_Sign", "signData", signing()},
        {"C_GenerateKeyPair", "generateKeyPair", pair()},
    };
}

TEST_P(HostileException, ofACallIsTheFailureOfItsScript) {
    for (const Call& call : reachedCalls()) {
        SCOPED_TRACE(call.function);
        begin();
        throwFrom(call.function, GetParam().thrown);
        expectError(execute(call.script, call.params), GetParam().error);
        expectCode(GetParam().code);
        throwFrom(call.function, Thrown::Nothing);
        expectError(execute(call.script, call.params), "0");
        plugin.free();
    }
}

TEST_P(HostileException, ofGetFunctionListLeavesAnExecutorThatIsNotReady) {
    const auto kept = keep();
    throwFrom("C_GetFunctionList", GetParam().thrown);
    plugin = Executor(throwing());
    ASSERT_TRUE(plugin);
    EXPECT_FALSE(plugin.get()->validate());
    expectTraceAt(1, {{1, std::string("PKCS11Client::PKCS11Client: C_GetFunctionList failed 0x") + GetParam().code}});
    plugin.free();
}

TEST_P(HostileException, ofGetFunctionListBehindItsWorkIsOfNoConsequence) {
    const auto kept = keep();
    throwFrom("C_GetFunctionList, late", GetParam().thrown);
    plugin = Executor(throwing());
    EXPECT_TRUE(plugin.get()->validate());
    plugin.free();
}

TEST_P(HostileException, ofInitializeLeavesAnExecutorThatIsNotReady) {
    const auto kept = keep();
    throwFrom("C_Initialize", GetParam().thrown);
    plugin = Executor(throwing());
    ASSERT_TRUE(plugin);
    EXPECT_FALSE(plugin.get()->validate());
    expectTraceAt(1, {{1, std::string("PKCS11Client::PKCS11Client : C_Initialize failed 0x") + GetParam().code}});
    plugin.free();
}

TEST_P(HostileException, ofGetInfoLeavesADescriptionWithoutIt) {
    begin();
    throwFrom("C_GetInfo", GetParam().thrown);
    EXPECT_EQ(Conformance::toUtf8(plugin.get()->getDescription()),
              std::string("Library Name=") + THROWS_MODULE_FILE + " (version ?)");
    plugin.free();
}

TEST_P(HostileException, atTheEndOfAnExecutorIsReported) {
    for (const char* function : {"C_CloseSession", "C_Finalize"}) {
        SCOPED_TRACE(function);
        begin();
        expectError(execute("readData", named("CERTIFICATE")), "0"); // a session is open
        throwFrom(function, GetParam().thrown);
        forget();
        plugin.free();
        expectTraceAt(1,
                      {{1, "PKCS11Client::~PKCS11Client : " + std::string(function) + " failed 0x" + GetParam().code}});
    }
}

TEST_P(HostileException, atTerminationIsReported) {
    begin();
    expectError(execute("readData", named("CERTIFICATE")), "0");
    throwFrom("C_CloseSession", GetParam().thrown);
    forget();
    plugin.terminate();
    expectTraceAt(1,
                  {{1, std::string("PKCS11Client::closeSession : C_CloseSession 0x0") + GetParam().code + " : failed"},
                   {1, std::string("PKCS11Client::terminate : C_CloseSession 0x0") + GetParam().code + " : failed"}});
    plugin.free();
}

std::string nameOf(const testing::TestParamInfo<Kind>& kind) {
    const char* const names[] = {"Nothing", "BadAlloc", "RuntimeError", "Number", "OwnClass", "OwnBadAlloc"};
    return names[static_cast<int>(kind.param.thrown)];
}

INSTANTIATE_TEST_SUITE_P(Kinds, HostileException, testing::ValuesIn(kKinds), nameOf);

} // namespace

} // namespace Faults
