#include "watch/recorder/KnownObjects.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <exception>
#include <span>

namespace watch {

namespace {

/// More than a program looks at in one session; what comes behind counts as a key.
constexpr std::size_t kMostObjects = 1U << 16U;

/// Of the standard, of the trust modules of p11-kit and of NSS.
constexpr std::array<CK_OBJECT_CLASS, 8> kOpenClasses{
    CKO_CERTIFICATE, CKO_PUBLIC_KEY, CKO_HW_FEATURE, CKO_DOMAIN_PARAMETERS, CKO_MECHANISM,
    0xCE534353U,  // NSS: trust
    0xCE534354U,  // NSS: list of built-in objects
    0xD8444764U}; // p11-kit: trust assertion

CK_ULONG toCount(Word word) noexcept {
    return static_cast<CK_ULONG>(word);
}

/// Returns false when the value is no class.
bool readClass(const CK_ATTRIBUTE& attribute, CK_OBJECT_CLASS& objectClass) noexcept {
    if (attribute.pValue == nullptr || attribute.ulValueLen != sizeof objectClass) {
        return false;
    }
    std::memcpy(&objectClass, attribute.pValue, sizeof objectClass);
    return true;
}

} // namespace

bool KnownObjects::isOpenClass(CK_OBJECT_CLASS objectClass) noexcept {
    return std::ranges::find(kOpenClasses, objectClass) != kOpenClasses.end();
}

bool KnownObjects::isOpenTemplate(const CK_ATTRIBUTE* attributes, CK_ULONG count) noexcept {
    bool isNamed = false;
    for (CK_ULONG i = 0; attributes != nullptr && i < count; ++i) {
        CK_OBJECT_CLASS objectClass = 0;
        if (attributes[i].type != CKA_CLASS) {
            continue;
        }
        if (!readClass(attributes[i], objectClass) || !isOpenClass(objectClass)) {
            return false;
        }
        isNamed = true;
    }
    return isNamed;
}

bool KnownObjects::isOpen(Word session, Word object) noexcept {
    const std::lock_guard lock(m_mutex);
    return m_open.contains({session, object});
}

void KnownObjects::learn(FunctionId id, Words words, std::span<const CK_ULONG> rooms) noexcept {
    const std::lock_guard lock(m_mutex);
    try {
        learnCall(id, words, rooms);
    } catch (const std::exception&) {
        forgetAll();
    }
}

void KnownObjects::learnCall(FunctionId id, Words words, std::span<const CK_ULONG> rooms) {
    switch (id) {
    case FunctionId::C_CreateObject:
        return note(words[0], words[3], isOpenTemplate(pointer<CK_ATTRIBUTE>(words[1]), toCount(words[2])));
    case FunctionId::C_CopyObject:
        return note(words[0], words[4], m_open.contains({words[0], words[1]}));
    case FunctionId::C_GenerateKeyPair:
        note(words[0], words[6], true);
        return note(words[0], words[7], false);
    case FunctionId::C_FindObjectsInit:
        m_searches[words[0]] = isOpenTemplate(pointer<CK_ATTRIBUTE>(words[1]), toCount(words[2]));
        return;
    case FunctionId::C_FindObjects:
        return learnFound(words);
    case FunctionId::C_GetAttributeValue:
        return learnClass(words, rooms);
    case FunctionId::C_DestroyObject:
        m_open.erase({words[0], words[1]});
        return;
    case FunctionId::C_OpenSession:
        return words[4] == 0 ? void() : forgetSession(*pointer<CK_SESSION_HANDLE>(words[4]));
    case FunctionId::C_CloseSession:
        return forgetSession(words[0]);
    case FunctionId::C_Logout:
    case FunctionId::C_CloseAllSessions:
    case FunctionId::C_Finalize:
        return forgetAll();
    case FunctionId::C_GenerateKey:
    case FunctionId::C_UnwrapKey:
    case FunctionId::C_DeriveKey:
        // A new key may have the handle of an object that is gone.
        return note(words[0], words.back(), false);
    default:
        return;
    }
}

void KnownObjects::learnFound(Words words) {
    auto* const objects = pointer<CK_OBJECT_HANDLE>(words[1]);
    const auto* const count = pointer<CK_ULONG>(words[3]);
    if (objects == nullptr || count == nullptr) {
        return;
    }
    const auto search = m_searches.find(words[0]);
    const bool isOpen = search != m_searches.end() && search->second;
    for (CK_OBJECT_HANDLE& object : std::span(objects, std::min<std::size_t>(*count, words[2]))) {
        note(words[0], toWord(&object), isOpen);
    }
}

void KnownObjects::learnClass(Words words, std::span<const CK_ULONG> rooms) {
    const auto* const attributes = pointer<CK_ATTRIBUTE>(words[2]);
    for (std::size_t i = 0; attributes != nullptr && i < rooms.size(); ++i) {
        CK_OBJECT_CLASS objectClass = 0;
        if (attributes[i].type == CKA_CLASS && rooms[i] >= sizeof objectClass &&
            readClass(attributes[i], objectClass)) {
            setOpen({words[0], words[1]}, isOpenClass(objectClass));
        }
    }
}

void KnownObjects::note(Word session, Word handle, bool isOpen) {
    if (const auto* const object = pointer<CK_OBJECT_HANDLE>(handle); object != nullptr) {
        setOpen({session, *object}, isOpen);
    }
}

void KnownObjects::setOpen(const Handle& handle, bool isOpen) {
    if (!isOpen) {
        m_open.erase(handle);
    } else if (m_open.size() < kMostObjects) {
        m_open.insert(handle);
    }
}

void KnownObjects::forgetSession(Word session) {
    std::erase_if(m_open, [session](const Handle& handle) { return handle.session == session; });
    m_searches.erase(session);
}

void KnownObjects::forgetAll() noexcept {
    // Gives the memory back, too: the library may be unloaded next.
    m_open = {};
    m_searches = {};
}

} // namespace watch
