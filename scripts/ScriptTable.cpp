#include "scripts/ScriptTable.h"

#include "scripts/Scripts.h"

namespace plugin {

namespace {

// The trace spells some names differently.
constexpr ScriptEntry kScripts[] = {
    {L"getReaderList", L"getReaderlist", scripts::getReaderList},
    {L"getPlatformIdentifiers", L"getPlatformIdentifiers", scripts::getPlatformIdentifiers},
    {L"getCardState", L"getCardState", scripts::getCardState},
    {L"getAuthenticatorState", L"getAuthenticatorState", scripts::getAuthenticatorState},
    {L"init", L"initToken", scripts::init},
    {L"recycle", L"recycle", scripts::recycle},
    {L"initAuthenticator", L"initAuthenticator", scripts::initAuthenticator},
    {L"changeAuthenticator", L"changeAuthenticator", scripts::changeAuthenticator},
    {L"unlockAuthenticator", L"unlockAuthenticator", scripts::unlockAuthenticator},
    {L"authenticate", L"authenticate", scripts::authenticate},
    {L"deauthenticate", L"deauthenticate", scripts::deauthenticate},
    {L"writeData", L"writeData", scripts::writeData},
    {L"readData", L"readData", scripts::readData},
    {L"removeData", L"removeData", scripts::removeData},
    {L"generateKeyPair", L"generateKeyPair", scripts::generateKeyPair},
    {L"signData", L"signData", scripts::signData},
    {L"beginSynchronization", L"beginSynchronisation", scripts::beginSynchronization},
    {L"endSynchronization", L"endSynchronisation", scripts::endSynchronization},
};

} // namespace

std::span<const ScriptEntry> scriptTable() {
    return kScripts;
}

} // namespace plugin
