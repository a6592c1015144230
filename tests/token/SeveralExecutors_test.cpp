// Executors that work on one token at the same time.
#include "tests/token/TokenTest.h"

namespace Token {
namespace {

class SeveralExecutors : public TokenTest {};

TEST_P(SeveralExecutors, seeOneTokenAndOneLogin) {
    Executor other = freshExecutor();
    succeeds("writeData", certificate(makeCertificate("Holder"), "mine", "01"));
    EXPECT_EQ(other.execute("readData", Params().plain("OBJ_TYPE", "CERTIFICATE")).value("COUNT"), "1");
    // One login serves every session of the process, so the other's session tells of it.
    login(kUserPin);
    EXPECT_EQ(other.execute("getAuthenticatorState").value("AUTHSTATE"), "1");
}

TEST_P(SeveralExecutors, keepATokenFromBeingInitialised) {
    Executor other = freshExecutor();
    ASSERT_EQ(other.execute("readData", Params().plain("OBJ_TYPE", "CERTIFICATE")).value("ERROR"), "0");
    const Params params = Params().plain("INIT_KEYID", "SO").hex("INIT_KEY", hex(kOfficerPin));
    answers("8102", "init", params);
    other.free();
    succeeds("init", params);
}

INSTANTIATE_TEST_SUITE_P(Tokens, SeveralExecutors, ::testing::ValuesIn(kindsForSeveralExecutors()), kindName);

} // namespace
} // namespace Token
