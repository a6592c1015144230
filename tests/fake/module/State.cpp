#include "tests/fake/module/State.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace Fake {

namespace {

constexpr CK_FLAGS kUserFlags[] = {CKF_USER_PIN_COUNT_LOW, CKF_USER_PIN_FINAL_TRY, CKF_USER_PIN_LOCKED};
constexpr CK_FLAGS kSoFlags[] = {CKF_SO_PIN_COUNT_LOW, CKF_SO_PIN_FINAL_TRY, CKF_SO_PIN_LOCKED};

CK_FLAGS counterFlags(CK_ULONG tries, const CK_FLAGS (&flags)[3]) {
    return (tries < kTries ? flags[0] : 0) | (tries == 1 ? flags[1] : 0) | (tries == 0 ? flags[2] : 0);
}

CK_FLAGS modelFlags(const Token& token) {
    return (token.initialized ? CKF_TOKEN_INITIALIZED : 0) | (token.userPinInitialized ? CKF_USER_PIN_INITIALIZED : 0) |
           counterFlags(token.userTries, kUserFlags) | counterFlags(token.soTries, kSoFlags);
}

constexpr CK_FLAGS kModelFlags = CKF_TOKEN_INITIALIZED | CKF_USER_PIN_INITIALIZED | CKF_USER_PIN_COUNT_LOW |
                                 CKF_USER_PIN_FINAL_TRY | CKF_USER_PIN_LOCKED | CKF_SO_PIN_COUNT_LOW |
                                 CKF_SO_PIN_FINAL_TRY | CKF_SO_PIN_LOCKED;

Token defaultToken(CK_SLOT_ID slot) {
    Token token;
    char serial[17];
    std::snprintf(serial, sizeof(serial), "%016llx", static_cast<unsigned long long>(slot));
    fillField(token.info.label, "Fake Token");
    fillField(token.info.manufacturerID, "Fake Tokens");
    fillField(token.info.model, "Fake Model");
    fillField(token.info.serialNumber, serial);
    fillField(token.info.utcTime, "");
    token.info.flags = CKF_RNG | CKF_LOGIN_REQUIRED;
    token.info.ulMaxPinLen = 255;
    token.info.ulMinPinLen = 4;
    token.info.ulTotalPublicMemory = CK_UNAVAILABLE_INFORMATION;
    token.info.ulFreePublicMemory = CK_UNAVAILABLE_INFORMATION;
    token.info.ulTotalPrivateMemory = CK_UNAVAILABLE_INFORMATION;
    token.info.ulFreePrivateMemory = CK_UNAVAILABLE_INFORMATION;
    token.info.hardwareVersion = {5, 6};
    token.info.firmwareVersion = {7, 8};
    token.soPin.assign("12345678");
    token.userPin.assign("1234");
    return token;
}

} // namespace

const Masked* Object::find(CK_ATTRIBUTE_TYPE type) const {
    for (const Attribute& attribute : attributes) {
        if (attribute.type == type) {
            return &attribute.value;
        }
    }
    return nullptr;
}

std::optional<CK_ULONG> Object::number(CK_ATTRIBUTE_TYPE type) const {
    const Masked* value = find(type);
    CK_ULONG result = 0;
    if (value == nullptr || value->size() != sizeof(result)) {
        return std::nullopt;
    }
    value->copyTo(&result);
    return result;
}

bool Object::flag(CK_ATTRIBUTE_TYPE type, bool missing) const {
    const Masked* value = find(type);
    return value == nullptr ? missing : !value->equals(std::string_view("\0", 1));
}

void Object::set(CK_ATTRIBUTE_TYPE type, std::string_view value) {
    for (Attribute& attribute : attributes) {
        if (attribute.type == type) {
            attribute.value.assign(value);
            return;
        }
    }
    attributes.push_back({type, Masked(value)});
}

void Object::setMissing(CK_ATTRIBUTE_TYPE type, std::string_view value) {
    if (find(type) == nullptr) {
        attributes.push_back({type, Masked(value)});
    }
}

void State::reset() {
    initialized = false;
    slots.clear();
    sessions.clear();
    objects.clear();
    nextSlot = 0x11;
    nextSession = 0x1;
    nextObject = 0x101;
    shownState.reset();
    keyPairs = 0;
    addSlot("Fake Reader 0", true);
}

Slot& State::addSlot(std::string_view description, bool withToken) {
    Slot slot;
    slot.id = nextSlot++;
    fillField(slot.info.slotDescription, description);
    fillField(slot.info.manufacturerID, "Fake Readers");
    slot.info.flags = CKF_TOKEN_PRESENT | CKF_REMOVABLE_DEVICE | CKF_HW_SLOT;
    slot.info.hardwareVersion = {1, 2};
    slot.info.firmwareVersion = {3, 4};
    slot.tokenPresent = withToken;
    slot.token = defaultToken(slot.id);
    slots.push_back(std::move(slot));
    return slots.back();
}

Slot* State::slot(CK_SLOT_ID id) {
    auto found = std::find_if(slots.begin(), slots.end(), [id](const Slot& slot) { return slot.id == id; });
    return found == slots.end() ? nullptr : &*found;
}

Session* State::session(CK_SESSION_HANDLE handle) {
    auto found = std::find_if(sessions.begin(), sessions.end(),
                              [handle](const Session& session) { return session.handle == handle; });
    return found == sessions.end() ? nullptr : &*found;
}

bool State::isVisible(const Session& session, const Object& object) {
    return object.slot == session.slot &&
           (!object.flag(CKA_PRIVATE, false) || slotOf(session).token.login == Role::User);
}

Object* State::object(const Session& session, CK_OBJECT_HANDLE handle) {
    for (Object& object : objects) {
        if (object.handle == handle && isVisible(session, object)) {
            return &object;
        }
    }
    return nullptr;
}

Slot& State::slotOf(const Session& session) {
    return *slot(session.slot);
}

CK_STATE State::stateOf(const Session& session) {
    const bool readWrite = session.isReadWrite();
    switch (slotOf(session).token.login) {
    case Role::User:
        return readWrite ? CKS_RW_USER_FUNCTIONS : CKS_RO_USER_FUNCTIONS;
    case Role::SecurityOfficer:
        return CKS_RW_SO_FUNCTIONS;
    default:
        return readWrite ? CKS_RW_PUBLIC_SESSION : CKS_RO_PUBLIC_SESSION;
    }
}

Session& State::addSession(CK_SLOT_ID slot, CK_FLAGS flags) {
    while (session(nextSession) != nullptr) {
        ++nextSession;
    }
    Session added;
    added.handle = nextSession++;
    added.slot = slot;
    added.flags = flags;
    sessions.push_back(std::move(added));
    return sessions.back();
}

Object& State::addObject(Object object) {
    const auto inUse = [this](CK_OBJECT_HANDLE handle) {
        return std::any_of(objects.begin(), objects.end(),
                           [handle](const Object& other) { return other.handle == handle; });
    };
    while (inUse(nextObject)) {
        ++nextObject;
    }
    object.handle = nextObject++;
    objects.push_back(std::move(object));
    return objects.back();
}

void State::closeSession(CK_SESSION_HANDLE handle) {
    const CK_SLOT_ID id = session(handle)->slot;
    std::erase_if(objects, [handle](const Object& object) { return object.owner == handle; });
    std::erase_if(sessions, [handle](const Session& session) { return session.handle == handle; });
    if (std::none_of(sessions.begin(), sessions.end(), [id](const Session& session) { return session.slot == id; })) {
        slot(id)->token.login = Role::Nobody;
    }
}

void State::closeSessions(CK_SLOT_ID slot) {
    const std::vector<Session> open = sessions;
    for (const Session& session : open) {
        if (session.slot == slot) {
            closeSession(session.handle);
        }
    }
}

void State::closeAllSessions() {
    for (Slot& slot : slots) {
        closeSessions(slot.id);
        slot.token.login = Role::Nobody;
    }
}

void State::logOut(Slot& slot) {
    slot.token.login = Role::Nobody;
    for (Session& session : sessions) {
        if (session.slot == slot.id) {
            session.signing.reset();
        }
    }
    std::erase_if(objects, [&slot](const Object& object) {
        return object.slot == slot.id && object.owner && object.flag(CKA_PRIVATE, false);
    });
}

CK_TOKEN_INFO State::tokenInfo(const Slot& slot) const {
    CK_TOKEN_INFO info = slot.token.info;
    info.flags = (info.flags & ~kModelFlags) | modelFlags(slot.token);
    info.flags = (info.flags | slot.token.shownFlags) & ~slot.token.hiddenFlags;
    info.ulSessionCount = 0;
    info.ulRwSessionCount = 0;
    for (const Session& session : sessions) {
        if (session.slot == slot.id) {
            info.ulSessionCount += 1;
            info.ulRwSessionCount += session.isReadWrite() ? 1 : 0;
        }
    }
    return info;
}

State& state() {
    static State instance;
    return instance;
}

} // namespace Fake
