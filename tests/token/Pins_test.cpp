// PINs: changed, wrong, counted or not, locked and unlocked; and the token that is initialised anew.
#include "tests/token/TokenTest.h"

#include <gmock/gmock.h>

namespace Token {
namespace {

using ::testing::HasSubstr;

class Pins : public TokenTest {
protected:
    /// "AUTHSTATE", and behind a blank "LEFTPINTRY" where it was given.
    std::string state(const std::string& role = "USER", Where where = Where::current()) {
        const Result result = answers("0", "getAuthenticatorState", Params().plain("PINID", role), where);
        const std::string tries = result.value("LEFTPINTRY").value_or("");
        return result.value("AUTHSTATE").value_or("") + (tries.empty() ? "" : " " + tries);
    }

    Result unlock(const std::string& officerPin, const std::string& userPin, const std::string& error = "0",
                  Where where = Where::current()) {
        return answers(error, "unlockAuthenticator",
                       Params()
                           .plain("UNLOCK_TYPE", "STATIC")
                           .plain("UNLOCK_KEYID", "SO")
                           .hex("UNLOCK_KEY", hex(officerPin))
                           .plain("PINID", "USER")
                           .hex("PIN", hex(userPin)),
                       where);
    }

    /// Another program logs in as the user.
    [[nodiscard]] bool toolLogsIn(const std::string& pin) const {
        return shell(folder.path(), std::string("pkcs11-tool --module '") + GetParam().toolModule +
                                        "' --token-label Card --list-objects --login --pin " + pin)
                   .status == 0;
    }
    /// Wrong PINs up to the lock, and back by the security officer.
    void lockAndAreUnlocked(int tries) {
        for (int i = 1; i < tries; ++i) {
            const Result refused = login("999999", "80ee");
            const bool last = i == tries - 1;
            EXPECT_EQ(refused.value("LEFTPINTRY").value_or("none"), last ? "1" : "none") << i;
            EXPECT_EQ(state(), last ? "2 1" : "2") << i;
        }
        login("999999", GetParam().lockingPin);
        EXPECT_EQ(state(), "3");
        login(kUserPin, "80ef");
        EXPECT_FALSE(toolLogsIn(kUserPin));
        answers("80ef", "writeData", Params().plain("OBJ_TYPE", "CERTIFICATE"));
        unlock(kOfficerPin, "222222");
        EXPECT_EQ(state(), "2");
        login("222222");
        EXPECT_EQ(state(), "1");
    }

    /// Wrong keys of the security officer up to the lock, which nobody undoes, and which is none of the user's concern.
    void lockTheOfficer(int tries) {
        for (int i = 1; i < tries; ++i) {
            const Result refused = unlock("99999999", "222222", "80ee");
            const bool last = i == tries - 1;
            EXPECT_EQ(refused.value("LEFTUNLOCKTRY").value_or("none"), last ? "1" : "none") << i;
            EXPECT_EQ(state("SO"), last ? "2 1" : "2") << i;
            EXPECT_EQ(state("USER"), "2") << i;
        }
        // The right one starts the count anew. Logins are counted with it.
        unlock(kOfficerPin, "222222");
        EXPECT_EQ(state("SO"), "2");
        for (int i = 1; i < tries; ++i) {
            const Result refused = login("99999999", "80ee", "SO");
            EXPECT_EQ(refused.value("LEFTPINTRY").value_or("none"), i == tries - 1 ? "1" : "none") << i;
        }
        EXPECT_EQ(unlock("99999999", "333333", GetParam().lockingPin).value("LEFTUNLOCKTRY"), std::nullopt);
        EXPECT_EQ(state("SO"), "3");
        unlock(kOfficerPin, "333333", "80ef");
        login(kOfficerPin, "80ef", "SO");
        answers("80ef", "recycle",
                Params().plain("RECYCLE_KEYID", "SO").hex("RECYCLE_KEY", hex(kOfficerPin)).hex("LABEL", hex("None")));
        login("222222");
        EXPECT_EQ(state("USER"), "1");
        EXPECT_EQ(state("SO"), "3");
    }

    /// Nothing is ever locked. The token remembers that there was a wrong PIN, and no more.
    void areNotCounted() {
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(login("999999", "80ee").value("LEFTPINTRY"), std::nullopt);
            EXPECT_EQ(unlock("99999999", "222222", "80ee").value("LEFTUNLOCKTRY"), std::nullopt);
        }
        EXPECT_EQ(state("USER"), "2");
        EXPECT_EQ(state("SO"), "2");
        const std::string seen = tool("--list-slots");
        EXPECT_THAT(seen, HasSubstr("user PIN count low"));
        EXPECT_THAT(seen, HasSubstr("SO PIN count low"));
        unlock(kOfficerPin, "222222");
        login("222222");
    }
};

Params change(const std::string& role, const std::string& oldPin, const std::string& newPin) {
    return Params().plain("PINID", role).hex("OLD_PIN", hex(oldPin)).hex("NEW_PIN", hex(newPin));
}

TEST_P(Pins, theUsersPinIsChanged) {
    EXPECT_TRUE(toolLogsIn(kUserPin));
    succeeds("changeAuthenticator", change("USER", kUserPin, "654321"));
    EXPECT_FALSE(toolLogsIn(kUserPin));
    // A right PIN starts the count of wrong ones anew where there is one.
    EXPECT_TRUE(toolLogsIn("654321"));
    answers("80ee", "changeAuthenticator", change("USER", kUserPin, "111111"));
    login(kUserPin, "80ee");
    login("654321");
    EXPECT_EQ(state(), "1");
    succeeds("deauthenticate");
    EXPECT_EQ(state(), "2");
}

TEST_P(Pins, theOfficersPinIsChanged) {
    succeeds("changeAuthenticator", change("SO", kOfficerPin, "13572468"));
    unlock(kOfficerPin, "222222", "80ee");
    EXPECT_TRUE(toolLogsIn(kUserPin));
    unlock("13572468", "222222");
    EXPECT_TRUE(toolLogsIn("222222"));
}

TEST_P(Pins, theOfficerLogsInAndOut) {
    login(kOfficerPin, "0", "SO");
    EXPECT_EQ(state("SO"), "1");
    EXPECT_EQ(state("USER"), "2");
    answers("80f0", "deauthenticate", Params().plain("PINID", "USER"));
    succeeds("deauthenticate", Params().plain("PINID", "SO"));
    answers("80f0", "deauthenticate", Params().plain("PINID", "SO"));
}

TEST_P(Pins, whoeverIsLoggedInGivesWay) {
    login(kUserPin);
    login(kUserPin);
    login(kOfficerPin, "0", "SO");
    EXPECT_EQ(state("SO"), "1");
    login(kUserPin);
    EXPECT_EQ(state("USER"), "1");
}

TEST_P(Pins, wrongPins) {
    if (GetParam().triesToLock == 0) {
        areNotCounted();
    } else {
        lockAndAreUnlocked(GetParam().triesToLock);
    }
}

TEST_P(Pins, wrongKeysOfTheOfficer) {
    if (GetParam().triesToLock != 0) {
        lockTheOfficer(GetParam().triesToLock);
        return;
    }
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(login("99999999", "80ee", "SO").value("LEFTPINTRY"), std::nullopt);
    }
    EXPECT_EQ(state("SO"), "2");
    login(kOfficerPin, "0", "SO");
    EXPECT_EQ(state("SO"), "1");
}

TEST_P(Pins, unlockingDoesNotEndTheUsersLogin) {
    login(kUserPin);
    unlock(kOfficerPin, "222222", "80f1");
    EXPECT_EQ(state(), "1");
    EXPECT_TRUE(toolLogsIn(kUserPin));
}

TEST_P(Pins, aPinThatIsTooShort) {
    answers(GetParam().shortPin, "changeAuthenticator", change("USER", kUserPin, "1"));
    unlock(kOfficerPin, "1", GetParam().shortPin);
    EXPECT_TRUE(toolLogsIn(kUserPin));
}

TEST_P(Pins, recycleLeavesAnEmptyToken) {
    succeeds("writeData", certificate(makeCertificate("Holder"), "mine", "01"));
    answers(GetParam().initWithWrongPin, "recycle",
            Params().plain("RECYCLE_KEYID", "SO").hex("RECYCLE_KEY", hex("00000000")).hex("LABEL", hex("None")));
    EXPECT_EQ(objects(), std::multiset<std::string>{"Certificate mine"});
    // Bytes of an even number of letters, so that the rest of the label begins with a blank.
    succeeds("recycle",
             Params().plain("RECYCLE_KEYID", "SO").hex("RECYCLE_KEY", hex(kOfficerPin)).hex("LABEL", hex("Once more")));
    EXPECT_EQ(tool("--list-slots").find("token label        : Card"), std::string::npos);
    EXPECT_THAT(tool("--list-slots"), HasSubstr("token label        : Once more"));
    EXPECT_EQ(succeeds("readData", Params().plain("OBJ_TYPE", "CERTIFICATE")).value("COUNT"), "0");
    login(kUserPin, GetParam().noUserPin);
    unlock(kOfficerPin, kUserPin);
    login(kUserPin);
}

INSTANTIATE_TEST_SUITE_P(Tokens, Pins, ::testing::ValuesIn(kinds()), kindName);

} // namespace
} // namespace Token
