#pragma once

#include "cryptoki/cryptoki.h"
#include "tests/fake/Function.h"
#include "tests/fake/module/Masked.h"

#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

// What the model knows. Everything here is guarded by State::mutex.

namespace Fake {

enum class Role : unsigned { Nobody, User, SecurityOfficer };

struct Attribute {
    CK_ATTRIBUTE_TYPE type;
    Masked value;
};

struct Object {
    CK_OBJECT_HANDLE handle = 0;
    CK_SLOT_ID slot = 0;
    std::optional<CK_SESSION_HANDLE> owner; ///< the session of a session object
    std::vector<Attribute> attributes;

    [[nodiscard]] const Masked* find(CK_ATTRIBUTE_TYPE type) const;
    [[nodiscard]] std::optional<CK_ULONG> number(CK_ATTRIBUTE_TYPE type) const;
    [[nodiscard]] bool flag(CK_ATTRIBUTE_TYPE type, bool missing) const;
    void set(CK_ATTRIBUTE_TYPE type, std::string_view value);
    void setMissing(CK_ATTRIBUTE_TYPE type, std::string_view value);
};

struct Token {
    bool initialized = true;
    bool userPinInitialized = true;
    CK_TOKEN_INFO info = {}; ///< without what `tokenInfo` adds
    Masked soPin;
    Masked userPin;
    CK_ULONG soTries = 3;
    CK_ULONG userTries = 3;
    CK_FLAGS shownFlags = 0;
    CK_FLAGS hiddenFlags = 0;
    Role login = Role::Nobody;
};

struct Slot {
    CK_SLOT_ID id = 0;
    CK_SLOT_INFO info = {};
    bool tokenPresent = true;
    Token token;
};

struct Search {
    std::vector<CK_OBJECT_HANDLE> found;
    std::size_t next = 0;
};

struct Signing {
    CK_MECHANISM_TYPE mechanism;
    CK_OBJECT_HANDLE key;
};

struct Session {
    CK_SESSION_HANDLE handle = 0;
    CK_SLOT_ID slot = 0;
    CK_FLAGS flags = 0;
    std::optional<Search> search;
    std::optional<Signing> signing;

    [[nodiscard]] bool isReadWrite() const { return (flags & CKF_RW_SESSION) != 0; }
};

struct State {
    mutable std::mutex mutex;
    bool initialized = false;
    std::vector<Slot> slots;
    std::vector<Session> sessions;
    std::vector<Object> objects;
    CK_SLOT_ID nextSlot = 0;
    CK_SESSION_HANDLE nextSession = 0;
    CK_OBJECT_HANDLE nextObject = 0;
    std::optional<CK_STATE> shownState;
    unsigned keyPairs = 0;

    State() { reset(); }
    void reset();

    Slot& addSlot(std::string_view description, bool withToken);
    [[nodiscard]] Slot* slot(CK_SLOT_ID id);
    [[nodiscard]] Session* session(CK_SESSION_HANDLE handle);
    /// The object, if it may be seen through this session.
    [[nodiscard]] Object* object(const Session& session, CK_OBJECT_HANDLE handle);
    [[nodiscard]] bool isVisible(const Session& session, const Object& object);
    /// The slot of an open session; it exists as long as the session does.
    [[nodiscard]] Slot& slotOf(const Session& session);
    [[nodiscard]] CK_STATE stateOf(const Session& session);

    Session& addSession(CK_SLOT_ID slot, CK_FLAGS flags);
    Object& addObject(Object object);
    void closeSession(CK_SESSION_HANDLE handle);
    void closeSessions(CK_SLOT_ID slot);
    void closeAllSessions();
    void logOut(Slot& slot);
    [[nodiscard]] CK_TOKEN_INFO tokenInfo(const Slot& slot) const;
};

/// The one state of this copy of the library.
State& state();

/// Copies a text into a blank padded field.
template <std::size_t N>
void fillField(unsigned char (&field)[N], std::string_view text) {
    for (std::size_t i = 0; i < N; ++i) {
        field[i] = i < text.size() ? static_cast<unsigned char>(text[i]) : ' ';
    }
}

inline constexpr CK_ULONG kTries = 3;

} // namespace Fake
