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
const Names kReader = {"C_Initialize", "C_GetSlotList", "C_GetSlotInfo"};
// A session that an earlier script left open is asked how it stands.
const Names kSession = all({kReader, {"C_OpenSession", "C_GetSessionInfo"}});
const Names kLogin = all({kSession, {"C_Login"}});
const Names kUserLogin = all({kLogin, {"C_Logout"}});
// The security officer cannot log in beside a read-only session, so that one is closed.
const Names kOfficerLogin = all({kLogin, {"C_Logout", "C_CloseSession"}});
const Names kSearch = {"C_FindObjectsInit", "C_FindObjects", "C_FindObjectsFinal"};

constexpr unsigned int kUserWrites = kInitialised | kWritable | kUserPin;
constexpr unsigned int kOfficerWrites = kInitialised | kWritable | kOfficerPin;
constexpr unsigned int kSomebodyWrites = kInitialised | kWritable | kSomePin;

const std::vector<ScriptNeeds> kNeeds = {
    {"getReaderList", kReader, 0, {}},
    {"getPlatformIdentifiers", all({kReader, {"C_GetTokenInfo"}}), 0, {}},
    {"getCardState", kExecutor, 0, {}},
    {"getAuthenticatorState", all({kSession, {"C_GetTokenInfo", "C_CloseSession"}}), kInitialised, {}},
    // Sessions have to be closed before a token is initialised.
    {"init", all({kReader, {"C_CloseSession", "C_InitToken"}}), kWritable | kOfficerPin, {}},
    {"recycle", all({kReader, {"C_CloseSession", "C_InitToken"}}), kWritable | kOfficerPin, {}},
    {"initAuthenticator", all({kOfficerLogin, {"C_InitPIN"}}), kOfficerWrites, {}},
    {"changeAuthenticator", all({kOfficerLogin, {"C_SetPIN"}}), kSomebodyWrites, {}},
    {"unlockAuthenticator", all({kOfficerLogin, {"C_InitPIN"}}), kOfficerWrites, {}},
    {"authenticate", kLogin, kSomebodyWrites, {}},
    // It opens no session: it ends the login that another script left.
    {"deauthenticate", all({kLogin, {"C_Logout"}}), kSomebodyWrites, {}},
    {"writeData",
     all({kUserLogin, {"C_CreateObject"}}),
     kUserWrites,
     {{"KEY_PAIR", kSearch}, {"CONTAINER_NAME", all({kSearch, {"C_SetAttributeValue"}})}}},
    {"readData", all({kSession, kSearch, {"C_GetAttributeValue"}}), kInitialised, {}},
    {"removeData", all({kUserLogin, kSearch, {"C_DestroyObject"}}), kUserWrites, {}},
    {"generateKeyPair",
     all({kUserLogin, {"C_GenerateKeyPair", "C_GetAttributeValue"}}),
     kUserWrites | kMakesRsaKeys,
     {}},
    {"signData", all({kUserLogin, kSearch, {"C_SignInit", "C_Sign"}}), kUserWrites | kSignsWithRsa, {}},
    {"beginSynchronization", kExecutor, 0, {}},
    {"endSynchronization", kExecutor, 0, {}},
};

} // namespace

std::span<const ScriptNeeds> scriptNeeds() {
    return kNeeds;
}

} // namespace host
