// The three writers look for missing parameters themselves, though "writeData" has done so before.

#include "scripts/object/Writers.h"
#include "tests/conformance/SessionTest.h"

namespace Conformance {

class WritersWithoutParameters : public SessionTest {
protected:
    void expectRefused(const std::string& method, ::Result (*write)(Script&)) {
        Script script{slots, session, access, nullptr, Outputs(outputs)};
        EXPECT_EQ(toUtf8(write(script).errorText()), "80ec");
        expectTrace(entry(method) + Trace{{1, "PKCS11Client::" + method + ": Bad parameter : pOpParams=NULL"}} +
                    leave(method));
        expectCalls({});
    }

    Slots slots{gate, Zel::TString()};
    AccessValues access;
    Zel::Vector<Zel::Parameter> outputs;
};

TEST_F(WritersWithoutParameters, certificate) {
    expectRefused("writeCertificate", [](Script& script) { return scripts::writeCertificate(script); });
}

TEST_F(WritersWithoutParameters, privateKey) {
    expectRefused("writeKey", [](Script& script) { return scripts::writeKey(script, false); });
}

TEST_F(WritersWithoutParameters, keyPair) {
    expectRefused("writeKey", [](Script& script) { return scripts::writeKey(script, true); });
}

TEST_F(WritersWithoutParameters, containerName) {
    expectRefused("writeContainerName", [](Script& script) { return scripts::writeContainerName(script); });
}

} // namespace Conformance
