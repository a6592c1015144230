#include "tests/fake/Control.h"
#include "tests/fake/module/Gate.h"
#include "tests/fake/module/Model.h"

namespace Fake {

Control& control();

namespace {

std::string_view view(Bytes bytes) {
    return {reinterpret_cast<const char*>(bytes.data), bytes.length};
}

Bytes asBytes(std::string_view text) {
    return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

Answer answerOf(CK_RV rv, unsigned when) {
    return {rv, static_cast<When>(when)};
}

/// Every operation holds the lock; `State` and `Gate` do the work.
class ControlImpl final : public Control {
public:
    void reset() override {
        const std::lock_guard lock(m_state.mutex);
        m_state.reset();
        gate().reset();
        restoreLists();
    }

    CK_SLOT_ID addSlot(Bytes description, bool withToken) override {
        const std::lock_guard lock(m_state.mutex);
        return m_state.addSlot(view(description), withToken).id;
    }
    bool removeSlot(CK_SLOT_ID id) override {
        return onSlot(id, [this](Slot& slot) { eraseSlot(slot.id); });
    }
    void removeAllSlots() override {
        const std::lock_guard lock(m_state.mutex);
        while (!m_state.slots.empty()) {
            eraseSlot(m_state.slots.back().id);
        }
    }
    bool slotInfo(CK_SLOT_ID id, CK_SLOT_INFO* info) override {
        return onSlot(id, [info](Slot& slot) { *info = slot.info; });
    }
    bool setSlotInfo(CK_SLOT_ID id, const CK_SLOT_INFO* info) override {
        return onSlot(id, [info](Slot& slot) {
            slot.info = *info;
            slot.info.flags |= CKF_TOKEN_PRESENT;
        });
    }
    bool setTokenPresent(CK_SLOT_ID id, bool present) override {
        return onSlot(id, [this, present](Slot& slot) {
            if (!present) {
                m_state.closeSessions(slot.id);
            }
            slot.tokenPresent = present;
        });
    }
    bool tokenInfo(CK_SLOT_ID id, CK_TOKEN_INFO* info) override {
        return onSlot(id, [this, info](Slot& slot) { *info = m_state.tokenInfo(slot); });
    }
    bool setTokenInfo(CK_SLOT_ID id, const CK_TOKEN_INFO* info) override {
        return onSlot(id, [info](Slot& slot) { slot.token.info = *info; });
    }
    bool setTokenFlags(CK_SLOT_ID id, CK_FLAGS set, CK_FLAGS clear) override {
        return onSlot(id, [set, clear](Slot& slot) {
            slot.token.shownFlags = set;
            slot.token.hiddenFlags = clear;
        });
    }
    bool setTokenInitialized(CK_SLOT_ID id, bool initialized) override {
        return onSlot(id, [initialized](Slot& slot) { slot.token.initialized = initialized; });
    }
    bool setPin(CK_SLOT_ID id, unsigned role, const Bytes* pin) override {
        return onSlot(id, [role, pin](Slot& slot) {
            pinOf(slot, role).assign(pin == nullptr ? std::string_view() : view(*pin));
            if (!isOfficer(role)) {
                slot.token.userPinInitialized = pin != nullptr;
            }
        });
    }
    bool pin(CK_SLOT_ID id, unsigned role, BytesSink sink, void* context) override {
        return onSlot(id, [role, sink, context](Slot& slot) {
            if (isOfficer(role) || slot.token.userPinInitialized) {
                const std::string bytes = pinOf(slot, role).plain();
                sink(context, asBytes(bytes));
            }
        });
    }
    bool setTries(CK_SLOT_ID id, unsigned role, CK_ULONG left) override {
        return onSlot(id, [role, left](Slot& slot) { triesOf(slot, role) = left; });
    }
    bool tries(CK_SLOT_ID id, unsigned role, CK_ULONG* left) override {
        return onSlot(id, [role, left](Slot& slot) { *left = triesOf(slot, role); });
    }

    bool isInitialized() override {
        const std::lock_guard lock(m_state.mutex);
        return m_state.initialized;
    }
    void setInitialized(bool initialized) override {
        const std::lock_guard lock(m_state.mutex);
        m_state.initialized = initialized;
    }
    void sessions(SessionSink sink, void* context) override {
        const std::lock_guard lock(m_state.mutex);
        for (const Session& session : m_state.sessions) {
            const RawSession raw = {session.handle,
                                    session.slot,
                                    session.flags,
                                    m_state.stateOf(session),
                                    session.search.has_value(),
                                    session.signing.has_value()};
            sink(context, &raw);
        }
    }
    std::size_t sessionCount() override {
        const std::lock_guard lock(m_state.mutex);
        return m_state.sessions.size();
    }
    void dropSessions() override {
        const std::lock_guard lock(m_state.mutex);
        m_state.closeAllSessions();
    }
    bool login(CK_SLOT_ID id, unsigned* role) override {
        return onSlot(id, [role](Slot& slot) { *role = static_cast<unsigned>(slot.token.login); });
    }
    bool setLogin(CK_SLOT_ID id, unsigned role) override {
        return onSlot(id, [role](Slot& slot) { slot.token.login = static_cast<Role>(role); });
    }
    void setSessionState(const CK_STATE* shown) override {
        const std::lock_guard lock(m_state.mutex);
        m_state.shownState = shown == nullptr ? std::nullopt : std::optional<CK_STATE>(*shown);
    }

    bool addObject(CK_SLOT_ID id, const CK_ATTRIBUTE* attributes, std::size_t attributeCount,
                   CK_OBJECT_HANDLE* handle) override {
        return onSlot(id, [=, this](Slot& slot) {
            Object object;
            object.slot = slot.id;
            for (std::size_t i = 0; i < attributeCount; ++i) {
                object.set(attributes[i].type, view({static_cast<const unsigned char*>(attributes[i].pValue),
                                                     static_cast<std::size_t>(attributes[i].ulValueLen)}));
            }
            object.setMissing(CKA_TOKEN, std::string_view("\1", 1));
            object.setMissing(CKA_PRIVATE, std::string_view("\0", 1));
            *handle = m_state.addObject(std::move(object)).handle;
        });
    }
    void objects(ObjectSink sink, void* context) override {
        const std::lock_guard lock(m_state.mutex);
        for (const Object& object : m_state.objects) {
            std::vector<std::string> values;
            for (const Attribute& attribute : object.attributes) {
                values.push_back(attribute.value.plain());
            }
            std::vector<CK_ATTRIBUTE> list(values.size());
            for (std::size_t i = 0; i < values.size(); ++i) {
                list[i].type = object.attributes[i].type;
                list[i].pValue = values[i].data();
                list[i].ulValueLen = static_cast<CK_ULONG>(values[i].size());
            }
            sink(context, object.handle, object.slot, list.data(), list.size());
        }
    }
    void removeAllObjects() override {
        const std::lock_guard lock(m_state.mutex);
        m_state.objects.clear();
    }
    void setNextSessionHandle(CK_SESSION_HANDLE handle) override {
        const std::lock_guard lock(m_state.mutex);
        m_state.nextSession = handle;
    }
    void setNextObjectHandle(CK_OBJECT_HANDLE handle) override {
        const std::lock_guard lock(m_state.mutex);
        m_state.nextObject = handle;
    }

    void calls(BytesSink sink, void* context, bool forget) override {
        const std::lock_guard lock(m_state.mutex);
        for (const std::string& line : gate().lines()) {
            sink(context, asBytes(line));
        }
        if (forget) {
            gate().lines().clear();
        }
    }
    void setRecording(bool on) override {
        const std::lock_guard lock(m_state.mutex);
        gate().setRecording(on);
    }
    unsigned long callCount(const Function* function) override {
        const std::lock_guard lock(m_state.mutex);
        return function == nullptr ? gate().count() : gate().count(*function);
    }
    void restartCallCount() override {
        const std::lock_guard lock(m_state.mutex);
        gate().restartCount();
    }

    void answerNext(Function function, CK_RV rv, unsigned times, unsigned when) override {
        const std::lock_guard lock(m_state.mutex);
        gate().queue(function, answerOf(rv, when), times);
    }
    void passNext(Function function, unsigned times) override {
        const std::lock_guard lock(m_state.mutex);
        gate().queue(function, std::nullopt, times);
    }
    void answerAlways(Function function, CK_RV rv, unsigned when) override {
        const std::lock_guard lock(m_state.mutex);
        gate().always(function, answerOf(rv, when));
    }
    void answerCall(unsigned long n, CK_RV rv, unsigned when) override {
        const std::lock_guard lock(m_state.mutex);
        gate().atCall(n, answerOf(rv, when));
    }
    void clearAnswers() override {
        const std::lock_guard lock(m_state.mutex);
        gate().clearAnswers();
    }
    void setHook(Function function, void (*thunk)(), void* context) override {
        const std::lock_guard lock(m_state.mutex);
        gate().setHook(function, {thunk, context});
    }
    const CK_FUNCTION_LIST* honest() override { return honestList(); }
    void setNullEntry(Function function, bool null) override {
        const std::lock_guard lock(m_state.mutex);
        Fake::setNullEntry(function, null);
    }
    void setNullList(bool null) override {
        const std::lock_guard lock(m_state.mutex);
        Fake::setNullList(null);
    }

private:
    static bool isOfficer(unsigned role) { return static_cast<Role>(role) == Role::SecurityOfficer; }
    static Masked& pinOf(Slot& slot, unsigned role) { return isOfficer(role) ? slot.token.soPin : slot.token.userPin; }
    static CK_ULONG& triesOf(Slot& slot, unsigned role) {
        return isOfficer(role) ? slot.token.soTries : slot.token.userTries;
    }

    template <class Action>
    bool onSlot(CK_SLOT_ID id, Action action) {
        const std::lock_guard lock(m_state.mutex);
        Slot* slot = m_state.slot(id);
        if (slot == nullptr) {
            return false;
        }
        action(*slot);
        return true;
    }
    void eraseSlot(CK_SLOT_ID id) {
        m_state.closeSessions(id);
        std::erase_if(m_state.objects, [id](const Object& object) { return object.slot == id; });
        std::erase_if(m_state.slots, [id](const Slot& slot) { return slot.id == id; });
    }

    State& m_state = state();
};

} // namespace

Control& control() {
    static ControlImpl instance;
    return instance;
}

} // namespace Fake
