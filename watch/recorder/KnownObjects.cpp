#include "watch/recorder/KnownObjects.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <span>

#include "watch/calls/OpenObjects.h"

namespace watch {

namespace {

/// More than a program looks at in one session; what comes behind counts as a key.
constexpr std::size_t kMostObjects = 1U << 16U;

CK_ULONG toCount(Word word) noexcept {
    return static_cast<CK_ULONG>(word);
}

} // namespace

bool KnownObjects::isOpen(Word session, Word object) noexcept {
    const std::lock_guard lock(m_mutex);
    return isKnown(session, object);
}

bool KnownObjects::isKnown(Word session, Word object) const noexcept {
    const auto found = m_open.find(object);
    return found != m_open.end() && found->second.contains(session);
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
        return noteNew(words[0], words[3], isOpenTemplate(pointer<CK_ATTRIBUTE>(words[1]), toCount(words[2])));
    case FunctionId::C_CopyObject:
        return noteNew(words[0], words[4], isKnown(words[0], words[1]));
    case FunctionId::C_GenerateKeyPair:
        noteNew(words[0], words[6], true);
        return noteNew(words[0], words[7], false);
    case FunctionId::C_FindObjectsInit:
        m_sessions[words[0]] = isOpenTemplate(pointer<CK_ATTRIBUTE>(words[1]), toCount(words[2]));
        return;
    case FunctionId::C_FindObjects:
        return learnFound(words);
    case FunctionId::C_GetAttributeValue:
        return learnClass(words, rooms);
    case FunctionId::C_DestroyObject:
        return forgetObject(words[1]);
    case FunctionId::C_OpenSession:
        return learnSession(words[4]);
    case FunctionId::C_CloseSession:
        m_sessions.erase(words[0]);
        return forgetObjects(); // its own ones are gone, and any session may have found them
    case FunctionId::C_InitToken:
    case FunctionId::C_Logout:
    case FunctionId::C_CloseAllSessions:
    case FunctionId::C_Finalize:
        return forgetAll();
    case FunctionId::C_GenerateKey:
    case FunctionId::C_UnwrapKey:
    case FunctionId::C_DeriveKey:
        return noteNew(words[0], words.back(), false);
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
    const auto search = m_sessions.find(words[0]);
    const bool isOpen = search != m_sessions.end() && search->second;
    for (const CK_OBJECT_HANDLE object : std::span(objects, std::min<std::size_t>(*count, words[2]))) {
        setOpen(words[0], object, isOpen);
    }
}

void KnownObjects::learnClass(Words words, std::span<const CK_ULONG> rooms) {
    const auto* const attributes = pointer<CK_ATTRIBUTE>(words[2]);
    for (std::size_t i = 0; attributes != nullptr && i < rooms.size(); ++i) {
        const std::optional<CK_OBJECT_CLASS> objectClass = classIn(attributes[i]);
        if (objectClass && rooms[i] >= sizeof *objectClass) {
            setOpen(words[0], words[1], isOpenClass(*objectClass));
        }
    }
}

void KnownObjects::noteNew(Word session, Word handle, bool isOpen) {
    if (const auto* const object = pointer<CK_OBJECT_HANDLE>(handle); object != nullptr) {
        forgetObject(*object); // a new object may have the handle of one that is gone
        setOpen(session, *object, isOpen);
    }
}

void KnownObjects::setOpen(Word session, Word object, bool isOpen) {
    if (!isOpen) {
        return forgetObject(object);
    }
    if (m_count < kMostObjects) {
        m_sessions.try_emplace(session, false);
        m_count += m_open[object].insert(session).second ? 1 : 0;
    }
}

void KnownObjects::learnSession(Word handle) {
    if (const auto* const session = pointer<CK_SESSION_HANDLE>(handle);
        session != nullptr && m_sessions.contains(*session)) {
        forgetAll();
    }
}

void KnownObjects::forgetObject(Word object) {
    if (const auto found = m_open.find(object); found != m_open.end()) {
        m_count -= found->second.size();
        m_open.erase(found);
    }
}

void KnownObjects::forgetObjects() noexcept {
    // Gives the memory back, too, which "= {}" does not: the library may be unloaded next.
    m_open = decltype(m_open)();
    m_count = 0;
}

void KnownObjects::forgetAll() noexcept {
    forgetObjects();
    m_sessions = decltype(m_sessions)();
}

} // namespace watch
