#include "tests/fake/module/Model.h"

#include <algorithm>

namespace Fake {

namespace {

std::string_view view(const CK_BYTE* bytes, CK_ULONG length) {
    return {reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length)};
}

bool lengthFits(const Token& token, CK_ULONG length) {
    return length >= token.info.ulMinPinLen && length <= token.info.ulMaxPinLen;
}

/// Compares a PIN and keeps its counter.
CK_RV checkPin(const Masked& truth, CK_ULONG& tries, std::string_view pin) {
    if (tries == 0) {
        return CKR_PIN_LOCKED;
    }
    if (!truth.equals(pin)) {
        --tries;
        return CKR_PIN_INCORRECT;
    }
    tries = kTries;
    return CKR_OK;
}

} // namespace

CK_RV act(State& state, Of<Function::C_InitToken>, CK_SLOT_ID id, CK_BYTE* pin, CK_ULONG length, CK_BYTE* label) {
    Slot* slot = state.slot(id);
    if (slot == nullptr) {
        return CKR_SLOT_ID_INVALID;
    }
    if (!slot->tokenPresent) {
        return CKR_TOKEN_NOT_PRESENT;
    }
    if (std::any_of(state.sessions.begin(), state.sessions.end(), [id](const Session& s) { return s.slot == id; })) {
        return CKR_SESSION_EXISTS;
    }
    if (pin == nullptr || label == nullptr) {
        return CKR_ARGUMENTS_BAD;
    }
    Token& token = slot->token;
    if (token.initialized) {
        const CK_RV rv = checkPin(token.soPin, token.soTries, view(pin, length));
        if (rv != CKR_OK) {
            return rv;
        }
    } else {
        if (!lengthFits(token, length)) {
            return CKR_PIN_LEN_RANGE;
        }
        token.soPin.assign(view(pin, length));
        token.soTries = kTries;
    }
    std::copy_n(label, sizeof(token.info.label), token.info.label);
    token.initialized = true;
    token.userPinInitialized = false;
    token.userPin.assign({});
    token.userTries = kTries;
    std::erase_if(state.objects, [id](const Object& object) { return object.slot == id; });
    return CKR_OK;
}

CK_RV act(State& state, Of<Function::C_InitPIN>, CK_SESSION_HANDLE handle, CK_BYTE* pin, CK_ULONG length) {
    const Session* session = state.session(handle);
    if (session == nullptr) {
        return CKR_SESSION_HANDLE_INVALID;
    }
    Token& token = state.slotOf(*session).token;
    if (token.login != Role::SecurityOfficer) {
        return CKR_USER_NOT_LOGGED_IN;
    }
    if (pin == nullptr) {
        return CKR_ARGUMENTS_BAD;
    }
    if (!lengthFits(token, length)) {
        return CKR_PIN_LEN_RANGE;
    }
    token.userPin.assign(view(pin, length));
    token.userPinInitialized = true;
    token.userTries = kTries;
    return CKR_OK;
}

CK_RV act(State& state, Of<Function::C_SetPIN>, CK_SESSION_HANDLE handle, CK_BYTE* oldPin, CK_ULONG oldLength,
          CK_BYTE* newPin, CK_ULONG newLength) {
    const Session* session = state.session(handle);
    if (session == nullptr) {
        return CKR_SESSION_HANDLE_INVALID;
    }
    if (!session->isReadWrite()) {
        return CKR_SESSION_READ_ONLY;
    }
    if (oldPin == nullptr || newPin == nullptr) {
        return CKR_ARGUMENTS_BAD;
    }
    Token& token = state.slotOf(*session).token;
    if (!lengthFits(token, newLength)) {
        return CKR_PIN_LEN_RANGE;
    }
    const bool officer = token.login == Role::SecurityOfficer;
    if (!officer && !token.userPinInitialized) {
        return CKR_USER_PIN_NOT_INITIALIZED;
    }
    Masked& pin = officer ? token.soPin : token.userPin;
    const CK_RV rv = checkPin(pin, officer ? token.soTries : token.userTries, view(oldPin, oldLength));
    if (rv == CKR_OK) {
        pin.assign(view(newPin, newLength));
    }
    return rv;
}

CK_RV act(State& state, Of<Function::C_Login>, CK_SESSION_HANDLE handle, CK_USER_TYPE userType, CK_BYTE* pin,
          CK_ULONG length) {
    const Session* session = state.session(handle);
    if (session == nullptr) {
        return CKR_SESSION_HANDLE_INVALID;
    }
    if (userType == CKU_CONTEXT_SPECIFIC) {
        return CKR_OPERATION_NOT_INITIALIZED;
    }
    if (userType != CKU_USER && userType != CKU_SO) {
        return CKR_USER_TYPE_INVALID;
    }
    if (pin == nullptr) {
        return CKR_ARGUMENTS_BAD;
    }
    const bool officer = userType == CKU_SO;
    const Role role = officer ? Role::SecurityOfficer : Role::User;
    Token& token = state.slotOf(*session).token;
    if (token.login != Role::Nobody) {
        return token.login == role ? CKR_USER_ALREADY_LOGGED_IN : CKR_USER_ANOTHER_ALREADY_LOGGED_IN;
    }
    if (officer && std::any_of(state.sessions.begin(), state.sessions.end(), [session](const Session& other) {
            return other.slot == session->slot && !other.isReadWrite();
        })) {
        return CKR_SESSION_READ_ONLY_EXISTS;
    }
    if (!officer && !token.userPinInitialized) {
        return CKR_USER_PIN_NOT_INITIALIZED;
    }
    const CK_RV rv = officer ? checkPin(token.soPin, token.soTries, view(pin, length))
                             : checkPin(token.userPin, token.userTries, view(pin, length));
    if (rv == CKR_OK) {
        token.login = role;
    }
    return rv;
}

CK_RV act(State& state, Of<Function::C_Logout>, CK_SESSION_HANDLE handle) {
    const Session* session = state.session(handle);
    if (session == nullptr) {
        return CKR_SESSION_HANDLE_INVALID;
    }
    Slot& slot = state.slotOf(*session);
    if (slot.token.login == Role::Nobody) {
        return CKR_USER_NOT_LOGGED_IN;
    }
    state.logOut(slot);
    return CKR_OK;
}

} // namespace Fake
