// Logouts that are tried without limit: the token refuses some times, then agrees.

#include "tests/faults/matrix/Codes.h"
#include "tests/faults/matrix/Stage.h"

namespace Faults {

namespace {

enum class Refusal { IsForgotten, IsReported };

struct Retried {
    const char* story;
    Refusal refusal;
};

class RetriedLogout : public ::testing::TestWithParam<Retried> {
protected:
    static Story story() { return storyNamed(GetParam().story); }

    /// The good run with so many more logouts.
    static Calls callsWith(const Story& story, std::size_t more) {
        Calls calls = story.callsFrom(0);
        const std::string logout = calls.back();
        calls.insert(calls.end(), more, logout);
        return calls;
    }
};

TEST_P(RetriedLogout, isTriedUntilTheTokenAgrees) {
    const Story told = story();
    for (const unsigned times : {1U, 2U, 5U}) {
        for (const CK_RV code : allCodes()) {
            if (code == CKR_OK) {
                continue;
            }
            const std::string error = GetParam().refusal == Refusal::IsReported ? clientCodeOf(code) : told.good.error;
            ASSERT_EQ(play(
                          told,
                          [times, code](Fake::Module& fake) { fake.answerNext(Fake::Function::C_Logout, code, times); },
                          callsWith(told, times), error, told.good.outputs, told.good.after),
                      "")
                << times << " times " << codeText(code);
        }
    }
}

TEST_P(RetriedLogout, reportsTheLastRefusalIfAny) {
    const Story told = story();
    const std::string error = GetParam().refusal == Refusal::IsReported ? "80eb" : told.good.error;
    EXPECT_EQ(play(
                  told,
                  [](Fake::Module& fake) {
                      fake.answerNext(Fake::Function::C_Logout, CKR_DEVICE_ERROR, 2);
                      fake.answerNext(Fake::Function::C_Logout, CKR_DEVICE_REMOVED);
                  },
                  callsWith(told, 3), error, told.good.outputs, told.good.after),
              "");
}

INSTANTIATE_TEST_SUITE_P(Stories, RetriedLogout,
                         ::testing::Values(Retried{"WriteCertificateNoSession", Refusal::IsForgotten},
                                           Retried{"WriteKeyPairNoSession", Refusal::IsForgotten},
                                           Retried{"WriteNothingNoSession", Refusal::IsForgotten},
                                           Retried{"NameContainerNoSession", Refusal::IsForgotten},
                                           Retried{"NameContainerOfNoKeyNoSession", Refusal::IsForgotten},
                                           Retried{"SignNoSession", Refusal::IsForgotten},
                                           Retried{"SignWithoutKeyNoSession", Refusal::IsForgotten},
                                           Retried{"RemoveCertificateNoSession", Refusal::IsReported},
                                           Retried{"RemoveKeyPairNoSession", Refusal::IsReported},
                                           Retried{"RemoveNothingNoSession", Refusal::IsForgotten}),
                         [](const auto& retried) { return std::string(retried.param.story); });

/// "Container naming" alone lets a refused logout overwrite its error: it has a logout of its own only when it is the
/// one that logged in, after the script around it found its session gone.
TEST(RetriedLogoutOfTheWriter, overwritesTheErrorOfItsOwn) {
    const Story told = storyNamed("NameContainerUserLoggedIn");
    const std::size_t innerLook = 2;
    ASSERT_EQ(told.steps[innerLook].call, "C_GetSessionInfo(0x1)");
    const Outcome stale = told.steps[innerLook].special.at(CKR_SESSION_HANDLE_INVALID);
    Calls calls = told.callsFrom(0);
    calls.resize(innerLook + 1);
    calls = joined(joined(calls, stale.further), {"C_Logout(0x2)", "C_Logout(0x2)"});
    EXPECT_EQ(play(
                  told,
                  [](Fake::Module& fake) {
                      fake.answerCall(innerLook + 1, CKR_SESSION_HANDLE_INVALID);
                      fake.answerNext(Fake::Function::C_Logout, CKR_DEVICE_ERROR);
                      fake.answerNext(Fake::Function::C_Logout, CKR_DEVICE_REMOVED);
                  },
                  calls, "80eb", {}, stale.after),
              "");
}

/// Both attempts at a public key fail: the second refusal is what counts.
TEST(RetriedPublicKey, isTriedOnceMore) {
    const Story told = storyNamed("WriteKeyPairNoSession");
    Calls calls = told.callsFrom(0);
    ASSERT_EQ(calls.size(), 9U);
    calls.pop_back();
    std::string again = calls.back();
    again.insert(again.size() - 2, " CKA_MODULUS_BITS=1024");
    calls = joined(calls, {again, "C_Logout(0x1)"});
    for (const CK_RV code : allCodes()) {
        if (code != CKR_OK) {
            ASSERT_EQ(play(
                          told,
                          [code](Fake::Module& fake) {
                              fake.passNext(Fake::Function::C_CreateObject);
                              fake.answerNext(Fake::Function::C_CreateObject, CKR_TEMPLATE_INCOMPLETE);
                              fake.answerNext(Fake::Function::C_CreateObject, code);
                          },
                          calls, clientCodeOf(code), {}, told.good.after),
                      "")
                << codeText(code);
        }
    }
}

} // namespace

} // namespace Faults
