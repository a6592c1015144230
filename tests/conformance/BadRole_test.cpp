// A PINID that names no role, as the scripts refuse it themselves. The executor refuses it before it runs a script, so
// they are run without one.

#include "client/ScriptContext.h"
#include "scripts/Scripts.h"
#include "tests/conformance/TokenTest.h"
#include "tests/conformance/Utf8.h"

namespace Conformance::BadRoleTests {

namespace {

struct Script {
    const char* name;
    plugin::Result (*run)(plugin::ScriptContext& script, const plugin::Trace& trace);
};

} // namespace

class BadRole : public GateTest, public testing::WithParamInterface<Script> {
protected:
    plugin::Slots slots{gate, L""};
    plugin::Session session{gate};
    plugin::AccessValues access;
};

TEST_P(BadRole, isRefusedBeforeTheTokenIsAsked) {
    const ParameterVector given = Params().plain("PINID", "so").vector();
    Zel::Vector<Zel::Parameter> outputs;
    plugin::ScriptContext script{slots, session, access, given.get(), plugin::Outputs(outputs)};

    const plugin::Result result = GetParam().run(script, plugin::Trace(toTString(GetParam().name).c_str()));

    EXPECT_EQ(toUtf8(plugin::errorText(result)), "80ec");
    EXPECT_TRUE(outputs.isEmpty());
    expectCalls({});
    expectTrace({{1, std::string("PKCS11Client::") + GetParam().name + ": Bad parameter PINID: so"}});
}

INSTANTIATE_TEST_SUITE_P(Scripts, BadRole,
                         testing::Values(Script{"getAuthenticatorState", plugin::scripts::getAuthenticatorState},
                                         Script{"initAuthenticator", plugin::scripts::initAuthenticator},
                                         Script{"changeAuthenticator", plugin::scripts::changeAuthenticator},
                                         Script{"unlockAuthenticator", plugin::scripts::unlockAuthenticator},
                                         Script{"authenticate", plugin::scripts::authenticate},
                                         Script{"deauthenticate", plugin::scripts::deauthenticate}),
                         [](const auto& tested) { return std::string(tested.param.name); });

} // namespace Conformance::BadRoleTests
