// A PKCS#11 module with a row of readers, for tests that issue cards in several readers at once. Each reader stands in
// front of a copy of a module of its own (SoftHSM2), and its card is changed through a file while programs work:
//
//     RACK_FOLDER     a folder for each reader, in the order of their names; Reader.h says what stands in them
//     RACK_MODULE     the module that is copied for each reader
//     RACK_DELAY      milliseconds that each call waits, without holding up others; default 0
//     RACK_CALLS      a file that gets a line for each call on a reader: "01 C_Login"
//
// The file `card` may be replaced at any time (written beside and renamed, so that nobody reads half of it): calls
// under way end first, and sessions of the card before get CKR_DEVICE_REMOVED. Calls.h says how a call is made to fail.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <vector>

#include "platform/Process.h"
#include "platform/Sleep.h"
#include "platform/SystemNumbers.h"
#include "tests/rack/Reader.h"

namespace {

using rack::Reader;

struct Session {
    Reader* reader = nullptr;
    std::uint64_t card = 0;
    CK_SESSION_HANDLE inner = 0;
};

/// Everything between C_Initialize and C_Finalize.
struct Rack {
    std::vector<std::unique_ptr<Reader>> readers;
    std::chrono::milliseconds delay{0};
    std::mutex mutex; ///< of what follows
    std::map<CK_SESSION_HANDLE, Session> sessions;
    CK_SESSION_HANDLE lastSession = 0;
};

std::mutex g_mutex;
std::shared_ptr<Rack> g_rack; ///< null when not initialised

std::shared_ptr<Rack> rackNow() {
    std::shared_ptr<Rack> rack;
    {
        const std::lock_guard lock(g_mutex);
        rack = g_rack;
    }
    if (rack != nullptr && rack->delay.count() > 0) {
        platform::sleepFor(rack->delay);
    }
    return rack;
}

std::filesystem::path pathIn(const char* variable) {
    const std::string text = platform::environmentText(variable);
    return {std::u8string(text.begin(), text.end())};
}

std::shared_ptr<Rack> makeRack() {
    auto rack = std::make_shared<Rack>();
    const std::filesystem::path folder = pathIn("RACK_FOLDER");
    rack->delay = std::chrono::milliseconds(std::atol(platform::environmentText("RACK_DELAY").c_str()));
    // Processes that share a rack each have a file of their own.
    rack::setConfigurationFile(folder / ("configuration-" + std::to_string(platform::processNumber())));
    std::vector<std::filesystem::path> folders;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.is_directory()) {
            folders.push_back(entry.path());
        }
    }
    std::sort(folders.begin(), folders.end());
    for (const std::filesystem::path& each : folders) {
        rack->readers.push_back(std::make_unique<Reader>(each, pathIn("RACK_MODULE")));
    }
    return rack;
}

// --- The module itself

CK_RV initialize(void* /*arguments*/) {
    const std::lock_guard lock(g_mutex);
    if (g_rack != nullptr) {
        return CKR_CRYPTOKI_ALREADY_INITIALIZED;
    }
    try {
        g_rack = makeRack();
        return CKR_OK;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "rack: %s\n", error.what());
        return CKR_GENERAL_ERROR;
    }
}

CK_RV finalize(void* /*reserved*/) {
    const std::lock_guard lock(g_mutex);
    const bool wasInitialised = g_rack != nullptr;
    g_rack.reset();
    return wasInitialised ? CKR_OK : CKR_CRYPTOKI_NOT_INITIALIZED;
}

template <std::size_t Size>
void fill(CK_UTF8CHAR (&field)[Size], const std::string& text) {
    std::fill(std::begin(field), std::end(field), CK_UTF8CHAR(' '));
    std::copy_n(text.begin(), std::min(text.size(), Size), std::begin(field));
}

CK_RV getInfo(CK_INFO* info) {
    if (rackNow() == nullptr) {
        return CKR_CRYPTOKI_NOT_INITIALIZED;
    }
    *info = {};
    info->cryptokiVersion = {2, 40};
    fill(info->manufacturerID, "tests");
    fill(info->libraryDescription, "Rack of readers");
    return CKR_OK;
}

// --- Slots

/// The reader of a slot, whose number is its place in the rack; null for no such slot.
Reader* readerOf(const std::shared_ptr<Rack>& rack, CK_SLOT_ID slot) {
    return slot < rack->readers.size() && rack->readers[slot]->isPlugged() ? rack->readers[slot].get() : nullptr;
}

/// Carries out the call, or answers what the reader's file `fault` says.
template <class Call>
CK_RV carriedOut(Reader& reader, const char* function, const Call& call) {
    const rack::Fault fault = reader.calls().next(function);
    if (fault.code != CKR_OK && !fault.isAfterwards) {
        return fault.code;
    }
    const CK_RV rv = call();
    return fault.code == CKR_OK ? rv : fault.code;
}

CK_RV getSlotList(CK_BBOOL onlyWithCard, CK_SLOT_ID* slots, CK_ULONG* count) {
    const std::shared_ptr<Rack> rack = rackNow();
    if (rack == nullptr) {
        return CKR_CRYPTOKI_NOT_INITIALIZED;
    }
    std::vector<CK_SLOT_ID> found;
    for (CK_SLOT_ID slot = 0; slot < rack->readers.size(); ++slot) {
        Reader* const reader = readerOf(rack, slot);
        if (reader != nullptr && (onlyWithCard == CK_FALSE || reader->hasCard())) {
            found.push_back(slot);
        }
    }
    const bool isTooSmall = slots != nullptr && *count < found.size();
    *count = static_cast<CK_ULONG>(found.size());
    if (slots != nullptr && !isTooSmall) {
        std::copy(found.begin(), found.end(), slots);
    }
    return isTooSmall ? CKR_BUFFER_TOO_SMALL : CKR_OK;
}

CK_RV getSlotInfo(CK_SLOT_ID slot, CK_SLOT_INFO* info) {
    const std::shared_ptr<Rack> rack = rackNow();
    if (rack == nullptr) {
        return CKR_CRYPTOKI_NOT_INITIALIZED;
    }
    Reader* const reader = readerOf(rack, slot);
    if (reader == nullptr) {
        return CKR_SLOT_ID_INVALID;
    }
    return carriedOut(*reader, "C_GetSlotInfo", [&] {
        *info = {};
        fill(info->slotDescription, reader->name());
        fill(info->manufacturerID, "tests");
        info->flags = CKF_REMOVABLE_DEVICE | CKF_HW_SLOT | (reader->hasCard() ? CKF_TOKEN_PRESENT : 0);
        return CKR_OK;
    });
}

template <auto Member, class Function>
struct OnSlot;
/// A function of a slot, which the copy of the module behind the reader carries out.
template <auto Member, class... Rest>
struct OnSlot<Member, CK_RV (*)(CK_SLOT_ID, Rest...)> {
    static CK_RV call(CK_SLOT_ID slot, Rest... rest) {
        const std::shared_ptr<Rack> rack = rackNow();
        if (rack == nullptr) {
            return CKR_CRYPTOKI_NOT_INITIALIZED;
        }
        Reader* const reader = readerOf(rack, slot);
        const auto onCard = [&](CK_FUNCTION_LIST& functions, CK_SLOT_ID inner) {
            return (functions.*Member)(inner, rest...);
        };
        return reader == nullptr ? CKR_SLOT_ID_INVALID
                                 : carriedOut(*reader, s_name, [&] { return reader->onSlot(onCard); });
    }
    static inline const char* s_name = "";
};

// --- Sessions

CK_RV openSession(CK_SLOT_ID slot, CK_FLAGS flags, void* application, CK_NOTIFY notify, CK_SESSION_HANDLE* handle) {
    const std::shared_ptr<Rack> rack = rackNow();
    if (rack == nullptr) {
        return CKR_CRYPTOKI_NOT_INITIALIZED;
    }
    Reader* const reader = readerOf(rack, slot);
    if (reader == nullptr) {
        return CKR_SLOT_ID_INVALID;
    }
    const auto open = [&](CK_FUNCTION_LIST& functions, CK_SLOT_ID inner) {
        Session session = {reader, reader->card(), 0};
        const CK_RV rv = functions.C_OpenSession(inner, flags, application, notify, &session.inner);
        if (rv == CKR_OK) {
            const std::lock_guard lock(rack->mutex);
            *handle = ++rack->lastSession;
            rack->sessions[*handle] = session;
        }
        return rv;
    };
    return carriedOut(*reader, "C_OpenSession", [&] { return reader->onSlot(open); });
}

Session sessionOf(Rack& rack, CK_SESSION_HANDLE handle) {
    const std::lock_guard lock(rack.mutex);
    const auto session = rack.sessions.find(handle);
    return session == rack.sessions.end() ? Session() : session->second;
}

template <auto Member, class Function>
struct OnSession;
/// A function of a session.
template <auto Member, class... Rest>
struct OnSession<Member, CK_RV (*)(CK_SESSION_HANDLE, Rest...)> {
    static CK_RV call(CK_SESSION_HANDLE handle, Rest... rest) {
        const std::shared_ptr<Rack> rack = rackNow();
        if (rack == nullptr) {
            return CKR_CRYPTOKI_NOT_INITIALIZED;
        }
        const Session session = sessionOf(*rack, handle);
        const auto onCard = [&](CK_FUNCTION_LIST& functions) { return (functions.*Member)(session.inner, rest...); };
        return session.reader == nullptr
                   ? CKR_SESSION_HANDLE_INVALID
                   : carriedOut(*session.reader, s_name, [&] { return session.reader->onCard(session.card, onCard); });
    }
    static inline const char* s_name = "";
};

template <class Function>
Function typeOf(Function CK_FUNCTION_LIST::* /*member*/);
template <auto Member>
using Session_ = OnSession<Member, decltype(typeOf(Member))>;
template <auto Member>
using Slot_ = OnSlot<Member, decltype(typeOf(Member))>;

CK_RV getTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO* info) {
    const CK_RV rv = Slot_<&CK_FUNCTION_LIST::C_GetTokenInfo>::call(slot, info);
    if (const std::shared_ptr<Rack> rack = rackNow(); rv == CKR_OK && rack != nullptr) {
        info->flags |= rack->readers[slot]->furtherFlags();
    }
    return rv;
}

CK_RV closeSession(CK_SESSION_HANDLE handle) {
    const CK_RV rv = Session_<&CK_FUNCTION_LIST::C_CloseSession>::call(handle);
    if (const std::shared_ptr<Rack> rack = rackNow(); rack != nullptr) {
        const std::lock_guard lock(rack->mutex);
        rack->sessions.erase(handle);
    }
    return rv;
}

CK_RV closeAllSessions(CK_SLOT_ID slot) {
    const CK_RV rv = Slot_<&CK_FUNCTION_LIST::C_CloseAllSessions>::call(slot);
    if (const std::shared_ptr<Rack> rack = rackNow(); rack != nullptr && slot < rack->readers.size()) {
        const Reader* const reader = rack->readers[slot].get();
        const std::lock_guard lock(rack->mutex);
        std::erase_if(rack->sessions, [&](const auto& session) { return session.second.reader == reader; });
    }
    return rv;
}

CK_RV notParallel(CK_SESSION_HANDLE /*session*/) {
    return CKR_FUNCTION_NOT_PARALLEL;
}

CK_RV noSlotEvents(CK_FLAGS /*flags*/, CK_SLOT_ID* /*slot*/, void* /*reserved*/) {
    return CKR_FUNCTION_NOT_SUPPORTED;
}

CK_FUNCTION_LIST makeList() {
    CK_FUNCTION_LIST list = {};
    list.version = {2, 40};
    list.C_Initialize = initialize;
    list.C_Finalize = finalize;
    list.C_GetInfo = getInfo;
    list.C_GetFunctionList = C_GetFunctionList;
    list.C_GetSlotList = getSlotList;
    list.C_GetSlotInfo = getSlotInfo;
    list.C_OpenSession = openSession;
    list.C_CloseSession = closeSession;
    list.C_CloseAllSessions = closeAllSessions;
    list.C_GetFunctionStatus = notParallel;
    list.C_CancelFunction = notParallel;
    list.C_WaitForSlotEvent = noSlotEvents;
#define RACK_SLOT(name)                                                                                                \
    list.name = Slot_<&CK_FUNCTION_LIST::name>::call;                                                                  \
    Slot_<& CK_FUNCTION_LIST::name>::s_name = #name
    RACK_SLOT(C_GetTokenInfo);
    list.C_GetTokenInfo = getTokenInfo;
    Slot_<& CK_FUNCTION_LIST::C_CloseAllSessions>::s_name = "C_CloseAllSessions";
    Session_<& CK_FUNCTION_LIST::C_CloseSession>::s_name = "C_CloseSession";
    RACK_SLOT(C_GetMechanismList);
    RACK_SLOT(C_GetMechanismInfo);
    RACK_SLOT(C_InitToken);
#undef RACK_SLOT
#define RACK_SESSION(name)                                                                                             \
    list.name = Session_<&CK_FUNCTION_LIST::name>::call;                                                               \
    Session_<& CK_FUNCTION_LIST::name>::s_name = #name
    RACK_SESSION(C_InitPIN);
    RACK_SESSION(C_SetPIN);
    RACK_SESSION(C_GetSessionInfo);
    RACK_SESSION(C_GetOperationState);
    RACK_SESSION(C_SetOperationState);
    RACK_SESSION(C_Login);
    RACK_SESSION(C_Logout);
    RACK_SESSION(C_CreateObject);
    RACK_SESSION(C_CopyObject);
    RACK_SESSION(C_DestroyObject);
    RACK_SESSION(C_GetObjectSize);
    RACK_SESSION(C_GetAttributeValue);
    RACK_SESSION(C_SetAttributeValue);
    RACK_SESSION(C_FindObjectsInit);
    RACK_SESSION(C_FindObjects);
    RACK_SESSION(C_FindObjectsFinal);
    RACK_SESSION(C_EncryptInit);
    RACK_SESSION(C_Encrypt);
    RACK_SESSION(C_EncryptUpdate);
    RACK_SESSION(C_EncryptFinal);
    RACK_SESSION(C_DecryptInit);
    RACK_SESSION(C_Decrypt);
    RACK_SESSION(C_DecryptUpdate);
    RACK_SESSION(C_DecryptFinal);
    RACK_SESSION(C_DigestInit);
    RACK_SESSION(C_Digest);
    RACK_SESSION(C_DigestUpdate);
    RACK_SESSION(C_DigestKey);
    RACK_SESSION(C_DigestFinal);
    RACK_SESSION(C_SignInit);
    RACK_SESSION(C_Sign);
    RACK_SESSION(C_SignUpdate);
    RACK_SESSION(C_SignFinal);
    RACK_SESSION(C_SignRecoverInit);
    RACK_SESSION(C_SignRecover);
    RACK_SESSION(C_VerifyInit);
    RACK_SESSION(C_Verify);
    RACK_SESSION(C_VerifyUpdate);
    RACK_SESSION(C_VerifyFinal);
    RACK_SESSION(C_VerifyRecoverInit);
    RACK_SESSION(C_VerifyRecover);
    RACK_SESSION(C_DigestEncryptUpdate);
    RACK_SESSION(C_DecryptDigestUpdate);
    RACK_SESSION(C_SignEncryptUpdate);
    RACK_SESSION(C_DecryptVerifyUpdate);
    RACK_SESSION(C_GenerateKey);
    RACK_SESSION(C_GenerateKeyPair);
    RACK_SESSION(C_WrapKey);
    RACK_SESSION(C_UnwrapKey);
    RACK_SESSION(C_DeriveKey);
    RACK_SESSION(C_SeedRandom);
    RACK_SESSION(C_GenerateRandom);
#undef RACK_SESSION
    return list;
}

} // namespace

#if defined(_WIN32)
#define RACK_EXPORT __declspec(dllexport)
#else
#define RACK_EXPORT __attribute__((visibility("default")))
#endif

extern "C" RACK_EXPORT CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
    static CK_FUNCTION_LIST s_list = makeList();
    *list = &s_list;
    return CKR_OK;
}
