#include "host/inspect/InfoViews.h"

#include <algorithm>

#include "host/plugin/Texts.h"

namespace host {

namespace {

std::optional<std::uint64_t> knownNumber(CK_ULONG number) {
    return number == CK_UNAVAILABLE_INFORMATION ? std::nullopt : std::optional<std::uint64_t>(number);
}

PinState pinState(CK_FLAGS flags, CK_FLAGS locked, CK_FLAGS lastTry, CK_FLAGS wasWrong, CK_FLAGS toBeChanged) {
    if ((flags & locked) != 0) {
        return PinState::Locked;
    }
    if ((flags & lastTry) != 0) {
        return PinState::LastTry;
    }
    if ((flags & wasWrong) != 0) {
        return PinState::WasWrong;
    }
    return (flags & toBeChanged) != 0 ? PinState::ToBeChanged : PinState::Fine;
}

} // namespace

std::string versionText(const CK_VERSION& version) {
    return std::to_string(version.major) + "." + std::to_string(version.minor);
}

std::string readerName(const CK_SLOT_INFO& info) {
    const std::string_view field(reinterpret_cast<const char*>(info.slotDescription), sizeof info.slotDescription);
    const std::string_view filled = trimmed(field);
    return std::string(filled.substr(0, filled.find('\0')));
}

TokenView tokenView(const CK_TOKEN_INFO& info) {
    TokenView token;
    token.label = fieldText(info.label);
    token.manufacturer = fieldText(info.manufacturerID);
    token.model = fieldText(info.model);
    token.serial = fieldText(info.serialNumber);
    token.hardwareVersion = versionText(info.hardwareVersion);
    token.firmwareVersion = versionText(info.firmwareVersion);
    token.isInitialised = (info.flags & CKF_TOKEN_INITIALIZED) != 0;
    token.isReadOnly = (info.flags & CKF_WRITE_PROTECTED) != 0;
    token.needsLogin = (info.flags & CKF_LOGIN_REQUIRED) != 0;
    token.hasUserPin = (info.flags & CKF_USER_PIN_INITIALIZED) != 0;
    token.hasPinPad = (info.flags & CKF_PROTECTED_AUTHENTICATION_PATH) != 0;
    token.userPin = pinState(info.flags, CKF_USER_PIN_LOCKED, CKF_USER_PIN_FINAL_TRY, CKF_USER_PIN_COUNT_LOW,
                             CKF_USER_PIN_TO_BE_CHANGED);
    token.officerPin =
        pinState(info.flags, CKF_SO_PIN_LOCKED, CKF_SO_PIN_FINAL_TRY, CKF_SO_PIN_COUNT_LOW, CKF_SO_PIN_TO_BE_CHANGED);
    token.shortestPin = knownNumber(info.ulMinPinLen).value_or(0);
    token.longestPin = knownNumber(info.ulMaxPinLen);
    if (token.longestPin.value_or(1) < std::max<std::uint64_t>(token.shortestPin, 1)) {
        token.longestPin.reset(); // 0, or less than the shortest: the token does not say
    }
    token.publicMemory = {knownNumber(info.ulTotalPublicMemory), knownNumber(info.ulFreePublicMemory)};
    token.privateMemory = {knownNumber(info.ulTotalPrivateMemory), knownNumber(info.ulFreePrivateMemory)};
    return token;
}

} // namespace host
