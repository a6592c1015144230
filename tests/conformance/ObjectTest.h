#pragma once

#include "tests/conformance/Harness.h"
#include "tests/conformance/SearchTrace.h"

#include <string>
#include <vector>

// What tests of the scripts that store and remove objects share.

namespace Conformance {

/// One attribute as a trace shows it: its type and the bytes of its value.
struct ShownAttribute {
    CK_ATTRIBUTE_TYPE type;
    std::string dump;
};

/// One "--> Template[n].type" for each attribute.
[[nodiscard]] inline Trace typeLines(const std::string& method, const std::vector<CK_ATTRIBUTE_TYPE>& types) {
    Trace trace;
    int index = 0;
    for (const CK_ATTRIBUTE_TYPE type : types) {
        trace += in(method, textf("Template[%d].type", index++), type);
    }
    return trace;
}

/// For each attribute its type and a dump of its value.
[[nodiscard]] inline Trace dumpedLines(const std::string& method, const std::vector<ShownAttribute>& attributes) {
    Trace trace;
    int index = 0;
    for (const ShownAttribute& attribute : attributes) {
        trace += in(method, textf("Template[%d].type", index), attribute.type);
        trace += {{4, "PKCS11Client::" + method + textf(": --> Template[%d].pValue", index), attribute.dump}};
        ++index;
    }
    return trace;
}

/// C_FindObjects announced, with its inputs.
[[nodiscard]] inline Trace findCall(const std::string& method, CK_SESSION_HANDLE session) {
    return sessionCall(method, "C_FindObjects", session) +
           Trace{{4, "PKCS11Client::" + method + ": --> MaxObjectCount=1"}};
}

/// What came back from C_FindObjects.
[[nodiscard]] inline Trace foundLines(const std::string& method, CK_OBJECT_HANDLE object, int count) {
    return out(method, "hObject", object) +
           Trace{{4, "PKCS11Client::" + method + textf(": <-- ObjectCount=%d", count)}};
}

/// The default reader is chosen and the user's PIN is known; no session is open.
class ObjectTest : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        ASSERT_NO_FATAL_FAILURE(startWithReader(Params().hex("PIN", "31323334")));
    }

    /// `middle` between the login and the logout of a script that finds no session open.
    [[nodiscard]] static std::vector<std::string> loggedIn(const std::vector<std::string>& middle) {
        std::vector<std::string> all = {"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)",
                                        "C_Login(0x1, CKU_USER, 31323334)"};
        all.insert(all.end(), middle.begin(), middle.end());
        all.emplace_back("C_Logout(0x1)");
        return all;
    }

    /// The whole trace of an operation whose script lists and reads its parameters first and then does `body`.
    [[nodiscard]] static Trace storyOf(const std::string& script, const Params& params, const Trace& body,
                                       const std::string& error) {
        const std::vector<std::string> ids = params.ids();
        return executeHead(script, ids) + entry(script) + operationParameters(script, ids) + readParametersTrace(ids) +
               body + leave(script) + executeTail({errorIs(error)});
    }

    /// The value of "ERROR", when it is the only output.
    std::string errorOf(const std::string& script, const Params& params) {
        const Result result = runScript(script, params);
        return result.outputs.size() == 1 && result.outputs[0].id == "ERROR" ? result.outputs[0].value
                                                                             : "not one ERROR";
    }

    /// Logs the user in, in session 0x1, to stay so.
    void authenticate() {
        run("authenticate", Params().plain("AUTH_TYPE", "STATIC").plain("PINID", "USER").hex("PIN", "31323334"));
    }

    /// C_GetSessionInfo tells an unknown state for its next `times` calls and the truth after that, so that the next
    /// login of a script does nothing.
    void hideStateFor(int times) {
        m_hidden = times;
        fake.hook<Fake::Function::C_GetSessionInfo>([this](CK_SESSION_HANDLE session, CK_SESSION_INFO* info) -> CK_RV {
            const CK_RV rv = fake.honest().C_GetSessionInfo(session, info);
            if (m_hidden > 0) {
                --m_hidden;
                info->state = 9;
            }
            return rv;
        });
    }

private:
    int m_hidden = 0;
};

} // namespace Conformance
