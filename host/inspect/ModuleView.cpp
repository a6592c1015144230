#include "host/inspect/ModuleView.h"

#include <algorithm>

#include "host/inspect/InfoViews.h"
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

/// A read-only session of its own.
class ReadSession {
public:
    ReadSession(const ModuleCalls& module, std::uint64_t slot) : m_module(module) {
        requireOk(module.call<&CK_FUNCTION_LIST::C_OpenSession>(slot, CKF_SERIAL_SESSION, nullptr, nullptr, &m_session),
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
    requireOk(ask(static_cast<Element*>(nullptr), &count), function);
    requireOk(count > most ? CKR_GENERAL_ERROR : CKR_OK, function);
    std::vector<Element> elements(count);
    if (count != 0) {
        requireOk(ask(elements.data(), &count), function);
    }
    elements.resize(std::min<std::size_t>(count, elements.size()));
    return elements;
}

} // namespace

ModuleError::ModuleError(std::string function, std::string result)
    : std::runtime_error(function + " answered " + result), m_function(std::move(function)),
      m_result(std::move(result)) {}

void requireOk(CK_RV rv, const char* function) {
    if (rv != CKR_OK) {
        throw ModuleError(function, cryptoki::resultName(static_cast<std::uint32_t>(rv)));
    }
}

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
        requireOk(rv == CKR_CRYPTOKI_ALREADY_INITIALIZED ? CKR_OK : rv, "C_Initialize");
    }
};

ModuleView::ModuleView(const std::string& module) : m_module(std::make_unique<Module>()) {
    m_module->load(moduleToLoad(libraryFile(module)));
    m_module->initialise();
}

ModuleView::~ModuleView() = default;

std::vector<std::uint64_t> ModuleView::slotNumbers() const {
    const ModuleCalls calls = m_module->calls();
    const auto ask = [&](CK_SLOT_ID* ids, CK_ULONG* count) {
        return calls.call<&CK_FUNCTION_LIST::C_GetSlotList>(CK_FALSE, ids, count);
    };
    const std::vector<CK_SLOT_ID> ids = listOf<CK_SLOT_ID>(ask, kMostSlots, "C_GetSlotList");
    return {ids.begin(), ids.end()};
}

std::vector<SlotView> ModuleView::slots() const {
    std::vector<SlotView> slots;
    for (const std::uint64_t number : slotNumbers()) {
        slots.push_back(slot(number));
    }
    return slots;
}

SlotView ModuleView::slot(std::uint64_t id) const {
    const ModuleCalls calls = m_module->calls();
    SlotView view;
    view.id = id;
    CK_SLOT_INFO info{};
    requireOk(calls.call<&CK_FUNCTION_LIST::C_GetSlotInfo>(id, &info), "C_GetSlotInfo");
    view.name = readerName(info);
    CK_TOKEN_INFO token{};
    const CK_RV rv = calls.call<&CK_FUNCTION_LIST::C_GetTokenInfo>(id, &token);
    if (rv == CKR_OK) {
        view.token = tokenView(token);
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
