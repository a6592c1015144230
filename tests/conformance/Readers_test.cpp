// The two readers look for missing parameters themselves, though "readData" has done so before.

#include "scripts/object/Readers.h"
#include "tests/conformance/SessionTest.h"

namespace Conformance {

class ReadersWithoutParameters : public SessionTest {
protected:
    void expectRefused(const std::string& method, ::Result (*read)(Script&)) {
        Script script{slots, session, access, nullptr, Outputs(outputs)};
        EXPECT_EQ(toUtf8(read(script).errorText()), "80ec");
        EXPECT_EQ(outputs.size(), 0U);
        expectTrace(entry(method) + Trace{{1, "PKCS11Client::" + method + ": Bad parameter : pOpParams=NULL"}} +
                    leave(method));
        expectCalls({});
    }

    Slots slots{gate, Zel::TString()};
    AccessValues access;
    Zel::Vector<Zel::Parameter> outputs;
};

TEST_F(ReadersWithoutParameters, certificates) {
    expectRefused("readCertificate", [](Script& script) { return scripts::readCertificate(script); });
}

TEST_F(ReadersWithoutParameters, publicKeys) {
    expectRefused("readKey", [](Script& script) { return scripts::readKey(script); });
}

} // namespace Conformance
