#include "host/view/ScriptNeeds.h"

#include <initializer_list>

namespace host {

namespace {

using Names = std::vector<const char*>;

Names all(std::initializer_list<Names> groups) {
    Names names;
    for (const Names& group : groups) {
        names.insert(names.end(), group.begin(), group.end());
    }
    return names;
}

// The executor initialises the module, and finds the reader by its name.
const Names kExecutor = {"C_Initialize"};
const Names kReader = {"C_GetSlotList", "C_GetSlotInfo"};
const Names kSession = {"C_OpenSession"};
const Names kOfficerLogin = all({kExecutor, kReader, kSession, {"C_Login", "C_Logout"}});
const Names kUserLogin = all({kExecutor, kReader, kSession, {"C_GetSessionInfo", "C_Login", "C_Logout"}});
const Names kSearch = {"C_FindObjectsInit", "C_FindObjects", "C_FindObjectsFinal"};

constexpr unsigned int kUserWrites = kInitialised | kWritable | kUserPin;

const std::vector<ScriptNeeds> kNeeds = {
    {"getReaderList", all({kExecutor, kReader}), 0},
    {"getPlatformIdentifiers", all({kExecutor, kReader, {"C_GetTokenInfo"}}), 0},
    {"getCardState", kExecutor, 0},
    {"getAuthenticatorState",
     all({kExecutor, kReader, kSession, {"C_GetSessionInfo", "C_GetTokenInfo", "C_CloseSession"}}), kInitialised},
    {"init", all({kExecutor, kReader, {"C_InitToken"}}), kOfficerPin},
    {"recycle", all({kExecutor, kReader, {"C_InitToken"}}), kOfficerPin},
    {"initAuthenticator", all({kOfficerLogin, {"C_InitPIN"}}), kInitialised | kWritable | kOfficerPin},
    {"changeAuthenticator",
     all({kExecutor, kReader, kSession, {"C_GetSessionInfo", "C_Login", "C_SetPIN", "C_Logout"}}),
     kInitialised | kWritable | kSomePin},
    {"unlockAuthenticator", all({kOfficerLogin, {"C_InitPIN"}}), kInitialised | kWritable | kOfficerPin},
    {"authenticate", all({kExecutor, kReader, kSession, {"C_Login"}}), kInitialised | kWritable | kSomePin},
    {"deauthenticate", all({kExecutor, kReader, {"C_GetSessionInfo", "C_Logout"}}), kInitialised | kWritable},
    {"writeData", all({kUserLogin, {"C_CreateObject"}}), kUserWrites},
    {"readData", all({kExecutor, kReader, kSession, kSearch, {"C_GetAttributeValue"}}), kInitialised},
    {"removeData", all({kUserLogin, kSearch, {"C_DestroyObject"}}), kUserWrites},
    {"generateKeyPair", all({kUserLogin, {"C_GenerateKeyPair", "C_GetAttributeValue"}}), kUserWrites | kMakesRsaKeys},
    {"signData", all({kUserLogin, kSearch, {"C_SignInit", "C_Sign"}}), kUserWrites | kSignsWithRsa},
    {"beginSynchronization", kExecutor, 0},
    {"endSynchronization", kExecutor, 0},
};

} // namespace

std::span<const ScriptNeeds> scriptNeeds() {
    return kNeeds;
}

} // namespace host
