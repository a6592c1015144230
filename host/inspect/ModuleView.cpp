#include "host/inspect/ModuleView.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "host/inspect/ModuleCalls.h"
#include "host/inspect/ObjectReader.h"
#include "host/plugin/Errors.h"
#include "host/plugin/PluginLibrary.h"
#include "host/plugin/Texts.h"
#include "host/plugin/WatchedModule.h"
#include "platform/DynamicLibrary.h"

namespace host {

namespace {

constexpr CK_ULONG kMostSlots = 1U << 16U;
constexpr CK_ULONG kMostMechanisms = 1U << 12U;

void check(CK_RV rv, const char* function) {
    if (rv != CKR_OK) {
        throw ModuleError(function, cryptoki::resultName(static_cast<std::uint32_t>(rv)));
    }
}

/// A field's bytes up to its first zero byte, without the blanks that fill it.
template <class Byte, std::size_t Size>
std::string textOf(const Byte (&field)[Size]) {
    const auto* const end = std::find(std::begin(field), std::end(field), Byte{0});
    return std::string(trimmed(std::string(std::begin(field), end)));
}

/// The description as the plug-in names the reader: only the blanks at the end of the whole field are cut.
std::string readerName(const CK_SLOT_INFO& info) {
    const std::string_view field(reinterpret_cast<const char*>(info.slotDescription), sizeof info.slotDescription);
    const std::string_view filled = trimmed(field);
    return std::string(filled.substr(0, filled.find('\0')));
}

std::string textOf(const CK_VERSION& version) {
    return std::to_string(version.major) + "." + std::to_string(version.minor);
}

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

TokenView tokenOf(const CK_TOKEN_INFO& info) {
    TokenView token;
    token.label = textOf(info.label);
    token.manufacturer = textOf(info.manufacturerID);
    token.model = textOf(info.model);
    token.serial = textOf(info.serialNumber);
    token.hardwareVersion = textOf(info.hardwareVersion);
    token.firmwareVersion = textOf(info.firmwareVersion);
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

/// A read-only session of its own.
class ReadSession {
public:
    ReadSession(const ModuleCalls& module, std::uint64_t slot) : m_module(module) {
        check(module.call<&CK_FUNCTION_LIST::C_OpenSession>(slot, CKF_SERIAL_SESSION, nullptr, nullptr, &m_session),
              "C_OpenSession");
    }
    ReadSession(const ReadSession&) = delete;
    ReadSession& operator=(const ReadSession&) = delete;
    ~ReadSession() { [[maybe_unused]] const CK_RV rv = m_module.call<&CK_FUNCTION_LIST::C_CloseSession>(m_session); }

    [[nodiscard]] CK_SESSION_HANDLE handle() const noexcept { return m_session; }

private:
    const ModuleCalls& m_module;
    CK_SESSION_HANDLE m_session = kNoSession;
};

/// A list that the module gives in two passes: first how long it is, then its elements. What it announces beyond
/// `most` is refused, and a list that grew meanwhile is cut.
template <class Element, class Ask>
std::vector<Element> listOf(const Ask& ask, CK_ULONG most, const char* function) {
    CK_ULONG count = 0;
    check(ask(static_cast<Element*>(nullptr), &count), function);
    check(count > most ? CKR_GENERAL_ERROR : CKR_OK, function);
    std::vector<Element> elements(count);
    if (count != 0) {
        check(ask(elements.data(), &count), function);
    }
    elements.resize(std::min<std::size_t>(count, elements.size()));
    return elements;
}

} // namespace

ModuleError::ModuleError(std::string function, std::string result)
    : std::runtime_error(function + " answered " + result), m_function(std::move(function)),
      m_result(std::move(result)) {}

/// The loaded module; finalised by whoever initialised it.
struct ModuleView::Module {
    platform::DynamicLibrary library;
    CK_FUNCTION_LIST* functions = nullptr;
    bool isOurs = false;

    Module() = default;
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;
    ~Module() {
        if (isOurs) {
            [[maybe_unused]] const CK_RV rv = calls().call<&CK_FUNCTION_LIST::C_Finalize>(nullptr);
        }
    }

    [[nodiscard]] ModuleCalls calls() const noexcept { return ModuleCalls(functions); }

    void load(const std::string& file) {
        library = platform::DynamicLibrary::load(toTString(file).c_str());
        if (!library.isLoaded()) {
            throw PluginError("cannot load the PKCS#11 module \"" + printable(file) +
                              "\": " + platform::DynamicLibrary::lastError());
        }
        const auto getList = reinterpret_cast<CK_C_GetFunctionList>(library.symbol("C_GetFunctionList"));
        if (getList == nullptr || ModuleCalls::guarded(getList, &functions) != CKR_OK || functions == nullptr) {
            throw PluginError("\"" + printable(file) + "\" is no PKCS#11 module: it gives no list of functions");
        }
    }

    void initialise() {
        CK_C_INITIALIZE_ARGS arguments = {};
        arguments.flags = CKF_OS_LOCKING_OK;
        const CK_RV rv = calls().call<&CK_FUNCTION_LIST::C_Initialize>(&arguments);
        isOurs = rv == CKR_OK;
        check(rv == CKR_CRYPTOKI_ALREADY_INITIALIZED ? CKR_OK : rv, "C_Initialize");
    }
};

ModuleView::ModuleView(const std::string& module) : m_module(std::make_unique<Module>()) {
    m_module->load(moduleToLoad(libraryFile(module)));
    m_module->initialise();
}

ModuleView::~ModuleView() = default;

std::vector<SlotView> ModuleView::slots() const {
    const ModuleCalls calls = m_module->calls();
    const auto ask = [&](CK_SLOT_ID* ids, CK_ULONG* count) {
        return calls.call<&CK_FUNCTION_LIST::C_GetSlotList>(CK_FALSE, ids, count);
    };
    std::vector<SlotView> slots;
    for (const CK_SLOT_ID id : listOf<CK_SLOT_ID>(ask, kMostSlots, "C_GetSlotList")) {
        slots.push_back(slot(id));
    }
    return slots;
}

SlotView ModuleView::slot(std::uint64_t id) const {
    const ModuleCalls calls = m_module->calls();
    SlotView view;
    view.id = id;
    CK_SLOT_INFO info{};
    check(calls.call<&CK_FUNCTION_LIST::C_GetSlotInfo>(id, &info), "C_GetSlotInfo");
    view.name = readerName(info);
    CK_TOKEN_INFO token{};
    const CK_RV rv = calls.call<&CK_FUNCTION_LIST::C_GetTokenInfo>(id, &token);
    if (rv == CKR_OK) {
        view.token = tokenOf(token);
    }
    view.hasAnswered = rv == CKR_OK || rv == CKR_TOKEN_NOT_PRESENT;
    return view;
}

std::vector<MechanismView> ModuleView::mechanisms(std::uint64_t slot) const {
    const ModuleCalls calls = m_module->calls();
    const auto ask = [&](CK_MECHANISM_TYPE* types, CK_ULONG* count) {
        return calls.call<&CK_FUNCTION_LIST::C_GetMechanismList>(slot, types, count);
    };
    std::vector<MechanismView> mechanisms;
    try {
        for (const CK_MECHANISM_TYPE type : listOf<CK_MECHANISM_TYPE>(ask, kMostMechanisms, "C_GetMechanismList")) {
            CK_MECHANISM_INFO info{};
            if (calls.call<&CK_FUNCTION_LIST::C_GetMechanismInfo>(slot, type, &info) != CKR_OK) {
                info = {};
            }
            mechanisms.push_back({type, info.ulMinKeySize, info.ulMaxKeySize, (info.flags & CKF_GENERATE_KEY_PAIR) != 0,
                                  (info.flags & CKF_SIGN) != 0});
        }
    } catch (const ModuleError&) {
        mechanisms.clear(); // what the token does not tell is not known
    }
    return mechanisms;
}

std::vector<ObjectView> ModuleView::objects(std::uint64_t slot) const {
    const ModuleCalls calls = m_module->calls();
    const ReadSession session(calls, slot);
    return readObjects(calls, session.handle());
}

} // namespace host
