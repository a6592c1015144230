#include "tests/fake/Control.h"
#include "tests/fake/Fake.h"

#include <array>
#include <map>
#include <mutex>
#include <stdexcept>

extern "C" {
#if defined(_WIN32)
__declspec(dllimport)
#endif
    Fake::Control* p11fakeControl();
#if defined(_WIN32)
__declspec(dllimport)
#endif
    Fake::Control* p11fake2Control();
}

namespace Fake {

namespace {

Bytes asBytes(std::string_view text) {
    return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

std::string asString(Bytes bytes) {
    return {reinterpret_cast<const char*>(bytes.data), bytes.length};
}

void need(bool found) {
    if (!found) {
        throw std::out_of_range("no such slot in the scripted module");
    }
}

template <std::size_t N>
void fillField(unsigned char (&field)[N], std::string_view text) {
    for (std::size_t i = 0; i < N; ++i) {
        field[i] = i < text.size() ? static_cast<unsigned char>(text[i]) : ' ';
    }
}

/// The functions behind the hooks, kept as long as a hook may be running.
class HookTargets {
public:
    void* keep(Control* control, Function function, std::shared_ptr<void> target) {
        const std::lock_guard lock(m_mutex);
        std::shared_ptr<void>& place = m_targets[{control, function}];
        place = std::move(target);
        return place.get();
    }
    void drop(Control* control) {
        const std::lock_guard lock(m_mutex);
        std::erase_if(m_targets, [control](const auto& entry) { return entry.first.first == control; });
    }

private:
    std::mutex m_mutex;
    std::map<std::pair<Control*, Function>, std::shared_ptr<void>> m_targets;
};

HookTargets& hookTargets() {
    static HookTargets instance;
    return instance;
}

std::vector<std::string> readCalls(Control& control, bool forget) {
    std::vector<std::string> lines;
    control.calls(
        [](void* context, Bytes line) { static_cast<std::vector<std::string>*>(context)->push_back(asString(line)); },
        &lines, forget);
    return lines;
}

std::optional<std::string> readPin(Control& control, CK_SLOT_ID slot, Role role) {
    std::optional<std::string> pin;
    need(control.pin(
        slot, static_cast<unsigned>(role),
        [](void* context, Bytes bytes) { *static_cast<std::optional<std::string>*>(context) = asString(bytes); },
        &pin));
    return pin;
}

} // namespace

std::string moduleFile() {
    return FAKE_MODULE_FILE;
}

std::string secondModuleFile() {
    return FAKE_SECOND_MODULE_FILE;
}

std::string emptyModuleFile() {
    return FAKE_EMPTY_MODULE_FILE;
}

Module module() {
    return Module(*p11fakeControl());
}

Module secondModule() {
    return Module(*p11fake2Control());
}

void Module::reset() {
    m_pControl->reset();
    hookTargets().drop(m_pControl);
}

CK_SLOT_ID Module::addSlot(std::string_view description, bool withToken) {
    return m_pControl->addSlot(asBytes(description), withToken);
}

void Module::removeSlot(CK_SLOT_ID slot) {
    need(m_pControl->removeSlot(slot));
}

void Module::removeAllSlots() {
    m_pControl->removeAllSlots();
}

void Module::setDescription(CK_SLOT_ID slot, std::string_view description) {
    CK_SLOT_INFO info = slotInfo(slot);
    fillField(info.slotDescription, description);
    setSlotInfo(slot, info);
}

CK_SLOT_INFO Module::slotInfo(CK_SLOT_ID slot) const {
    CK_SLOT_INFO info = {};
    need(m_pControl->slotInfo(slot, &info));
    return info;
}

void Module::setSlotInfo(CK_SLOT_ID slot, const CK_SLOT_INFO& info) {
    need(m_pControl->setSlotInfo(slot, &info));
}

void Module::removeToken(CK_SLOT_ID slot) {
    need(m_pControl->setTokenPresent(slot, false));
}

void Module::insertToken(CK_SLOT_ID slot) {
    need(m_pControl->setTokenPresent(slot, true));
}

CK_TOKEN_INFO Module::tokenInfo(CK_SLOT_ID slot) const {
    CK_TOKEN_INFO info = {};
    need(m_pControl->tokenInfo(slot, &info));
    return info;
}

void Module::setTokenInfo(CK_SLOT_ID slot, const CK_TOKEN_INFO& info) {
    need(m_pControl->setTokenInfo(slot, &info));
}

void Module::setTokenFlags(CK_SLOT_ID slot, CK_FLAGS set, CK_FLAGS clear) {
    need(m_pControl->setTokenFlags(slot, set, clear));
}

void Module::setUserPin(std::string_view pin, CK_SLOT_ID slot) {
    const Bytes bytes = asBytes(pin);
    need(m_pControl->setPin(slot, static_cast<unsigned>(Role::User), &bytes));
}

void Module::clearUserPin(CK_SLOT_ID slot) {
    need(m_pControl->setPin(slot, static_cast<unsigned>(Role::User), nullptr));
}

void Module::setSoPin(std::string_view pin, CK_SLOT_ID slot) {
    const Bytes bytes = asBytes(pin);
    need(m_pControl->setPin(slot, static_cast<unsigned>(Role::SecurityOfficer), &bytes));
}

std::optional<std::string> Module::userPin(CK_SLOT_ID slot) const {
    return readPin(*m_pControl, slot, Role::User);
}

std::string Module::soPin(CK_SLOT_ID slot) const {
    return readPin(*m_pControl, slot, Role::SecurityOfficer).value_or("");
}

void Module::setTries(Role role, CK_ULONG left, CK_SLOT_ID slot) {
    need(m_pControl->setTries(slot, static_cast<unsigned>(role), left));
}

CK_ULONG Module::tries(Role role, CK_SLOT_ID slot) const {
    CK_ULONG left = 0;
    need(m_pControl->tries(slot, static_cast<unsigned>(role), &left));
    return left;
}

void Module::setTokenInitialized(bool initialized, CK_SLOT_ID slot) {
    need(m_pControl->setTokenInitialized(slot, initialized));
}

bool Module::isInitialized() const {
    return m_pControl->isInitialized();
}

void Module::setInitialized(bool initialized) {
    m_pControl->setInitialized(initialized);
}

std::vector<SessionState> Module::sessions() const {
    std::vector<SessionState> result;
    m_pControl->sessions(
        [](void* context, const RawSession* raw) {
            static_cast<std::vector<SessionState>*>(context)->push_back(
                {raw->handle, raw->slot, raw->flags, raw->state, raw->searchActive, raw->signActive});
        },
        &result);
    return result;
}

std::size_t Module::sessionCount() const {
    return m_pControl->sessionCount();
}

void Module::dropSessions() {
    m_pControl->dropSessions();
}

Role Module::login(CK_SLOT_ID slot) const {
    unsigned role = 0;
    need(m_pControl->login(slot, &role));
    return static_cast<Role>(role);
}

void Module::setLogin(Role role, CK_SLOT_ID slot) {
    need(m_pControl->setLogin(slot, static_cast<unsigned>(role)));
}

void Module::setSessionState(std::optional<CK_STATE> state) {
    m_pControl->setSessionState(state ? &*state : nullptr);
}

CK_OBJECT_HANDLE Module::addObject(const Attributes& attributes, CK_SLOT_ID slot) {
    const std::vector<CK_ATTRIBUTE> list = attributes.list();
    CK_OBJECT_HANDLE handle = 0;
    need(m_pControl->addObject(slot, list.data(), list.size(), &handle));
    return handle;
}

std::vector<ObjectState> Module::objects() const {
    std::vector<ObjectState> result;
    m_pControl->objects(
        [](void* context, CK_OBJECT_HANDLE handle, CK_SLOT_ID slot, const CK_ATTRIBUTE* list, std::size_t length) {
            ObjectState object = {handle, slot, {}};
            for (std::size_t i = 0; i < length; ++i) {
                object.attributes.raw(list[i].type, {static_cast<const char*>(list[i].pValue),
                                                     static_cast<std::size_t>(list[i].ulValueLen)});
            }
            static_cast<std::vector<ObjectState>*>(context)->push_back(std::move(object));
        },
        &result);
    return result;
}

std::optional<Attributes> Module::object(CK_OBJECT_HANDLE handle) const {
    for (const ObjectState& object : objects()) {
        if (object.handle == handle) {
            return object.attributes;
        }
    }
    return std::nullopt;
}

void Module::removeAllObjects() {
    m_pControl->removeAllObjects();
}

void Module::setNextSessionHandle(CK_SESSION_HANDLE handle) {
    m_pControl->setNextSessionHandle(handle);
}

void Module::setNextObjectHandle(CK_OBJECT_HANDLE handle) {
    m_pControl->setNextObjectHandle(handle);
}

std::vector<std::string> Module::calls() const {
    return readCalls(*m_pControl, false);
}

std::vector<std::string> Module::takeCalls() {
    return readCalls(*m_pControl, true);
}

void Module::setRecording(bool on) {
    m_pControl->setRecording(on);
}

unsigned long Module::callCount() const {
    return m_pControl->callCount(nullptr);
}

unsigned long Module::callCount(Function function) const {
    return m_pControl->callCount(&function);
}

void Module::restartCallCount() {
    m_pControl->restartCallCount();
}

void Module::answerNext(Function function, CK_RV rv, unsigned times, When when) {
    m_pControl->answerNext(function, rv, times, static_cast<unsigned>(when));
}

void Module::answerAlways(Function function, CK_RV rv, When when) {
    m_pControl->answerAlways(function, rv, static_cast<unsigned>(when));
}

void Module::answerCall(unsigned long n, CK_RV rv, When when) {
    m_pControl->answerCall(n, rv, static_cast<unsigned>(when));
}

void Module::passNext(Function function, unsigned times) {
    m_pControl->passNext(function, times);
}

void Module::clearAnswers() {
    m_pControl->clearAnswers();
}

void Module::setHook(Function function, void (*thunk)(), std::shared_ptr<void> target) {
    m_pControl->setHook(function, thunk, hookTargets().keep(m_pControl, function, std::move(target)));
}

void Module::unhook(Function function) {
    m_pControl->setHook(function, nullptr, nullptr);
}

const CK_FUNCTION_LIST& Module::honest() const {
    return *m_pControl->honest();
}

void Module::setNullEntry(Function function, bool null) {
    m_pControl->setNullEntry(function, null);
}

void Module::setNullList(bool null) {
    m_pControl->setNullList(null);
}

} // namespace Fake
