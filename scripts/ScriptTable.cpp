#include "scripts/Scripts.h"

namespace {

constexpr ScriptEntry kScripts[] = {
    {L"getReaderList", scripts::getReaderList},
    {L"getPlatformIdentifiers", scripts::getPlatformIdentifiers},
    {L"getCardState", scripts::getCardState},
    {L"getAuthenticatorState", scripts::getAuthenticatorState},
    {L"init", scripts::init},
    {L"recycle", scripts::recycle},
    {L"initAuthenticator", scripts::initAuthenticator},
    {L"changeAuthenticator", scripts::changeAuthenticator},
    {L"unlockAuthenticator", scripts::unlockAuthenticator},
    {L"authenticate", scripts::authenticate},
    {L"deauthenticate", scripts::deauthenticate},
    {L"writeData", scripts::writeData},
    {L"readData", scripts::readData},
    {L"removeData", scripts::removeData},
    {L"generateKeyPair", scripts::generateKeyPair},
    {L"signData", scripts::signData},
    {L"beginSynchronization", scripts::beginSynchronization},
    {L"endSynchronization", scripts::endSynchronization},
};

} // namespace

std::span<const ScriptEntry> scriptTable() {
    return kScripts;
}
