// A PKCS#11 module with one reader and no token, for p11host doctor, which loads it in a process of its own. The
// environment says what is wrong with it, DOCTOR_FAULT, and where it writes the name of each function that is called,
// DOCTOR_LOG:
//
//     hole        C_CreateObject and C_SeedRandom are null
//     astray      C_SeedRandom leads to data
//     list        the function list has the packing of the other system
//     width       C_GetInfo has CK_ULONG of the other width, and the other packing
//     version     C_GetInfo says version 9.0
//     unfilled    C_GetInfo fills in the manufacturer alone
//     refuse      C_Initialize answers CKR_DEVICE_ERROR
//     crash       C_GetSlotList writes to address 0
//     exit        C_GetSlotInfo ends the process as a success
//     hang        C_GetSlotList never comes back
//     slow        C_GetSlotInfo takes 150 ms
//     no-readers  the list of readers is empty
//     print       C_GetInfo prints to standard output
//     no-list     C_GetFunctionList fails
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "cryptoki/Version3.h"

namespace {

bool isFault(const char* name) {
    const char* const fault = std::getenv("DOCTOR_FAULT");
    return fault != nullptr && std::strcmp(fault, name) == 0;
}

void log(const char* function) {
    const char* const file = std::getenv("DOCTOR_LOG");
    if (std::FILE* const stream = file == nullptr ? nullptr : std::fopen(file, "a")) {
        std::fprintf(stream, "%s\n", function);
        std::fclose(stream);
    }
}

template <auto Member>
const char* g_name = nullptr;

/// A function of the list that does nothing.
template <auto Member, class Function>
struct Stub;
template <auto Member, class... Arguments>
struct Stub<Member, CK_RV (*)(Arguments...)> {
    static CK_RV call(Arguments... /*unused*/) {
        log(g_name<Member>);
        return CKR_FUNCTION_NOT_SUPPORTED;
    }
};

template <class Function>
Function typeOf(Function CK_FUNCTION_LIST::* /*member*/);

template <class Byte, std::size_t Size>
void fill(Byte (&field)[Size], const char* text) {
    std::memset(field, ' ', Size);
    std::memcpy(field, text, std::strlen(text));
}

/// Field after field of CK_INFO, with a CK_ULONG of `word` bytes and this padding before the flags.
void putInfo(void* target, std::size_t word, std::size_t padding) {
    const std::string text = std::string("\x02\x28", 2) + "Example" + std::string(25, ' ') +
                             std::string(padding, '\0') + std::string(word, '\0') + "Module of the tests" +
                             std::string(13, ' ') + std::string("\x01\x02", 2);
    std::memcpy(target, text.data(), text.size());
}

CK_RV initialize(void* /*arguments*/) {
    log("C_Initialize");
    return isFault("refuse") ? CKR_DEVICE_ERROR : CKR_OK;
}

CK_RV finalize(void* /*reserved*/) {
    log("C_Finalize");
    return CKR_OK;
}

CK_RV getInfo(CK_INFO* info) {
    log("C_GetInfo");
    if (isFault("print")) {
        std::printf("{\"fact\":\"ended\",\"value\":true}\nwhat a module prints\n");
        std::fflush(stdout);
    }
    if (isFault("unfilled")) {
        fill(info->manufacturerID, "Example");
        return CKR_OK;
    }
    const bool isWide = (sizeof(CK_ULONG) == 8) != isFault("width");
    putInfo(info, isWide ? 8 : 4, isWide ? 6 : 0);
    if (isFault("version")) {
        info->cryptokiVersion = {9, 0};
    }
    return CKR_OK;
}

CK_RV getSlotList(CK_BBOOL /*present*/, CK_SLOT_ID* ids, CK_ULONG* count) {
    log("C_GetSlotList");
    if (isFault("crash")) {
        static int* volatile s_nowhere = nullptr;
        *s_nowhere = 1;
    }
    while (isFault("hang")) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    *count = isFault("no-readers") ? 0 : 1;
    if (ids != nullptr) {
        *ids = 7;
    }
    return CKR_OK;
}

CK_RV getSlotInfo(CK_SLOT_ID /*id*/, CK_SLOT_INFO* info) {
    log("C_GetSlotInfo");
    if (isFault("exit")) {
        std::exit(0);
    }
    if (isFault("slow")) {
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
    }
    fill(info->slotDescription, "Reader of the tests");
    fill(info->manufacturerID, "Example");
    return CKR_OK;
}

CK_RV getTokenInfo(CK_SLOT_ID /*id*/, CK_TOKEN_INFO* /*info*/) {
    log("C_GetTokenInfo");
    return CKR_TOKEN_NOT_PRESENT;
}

CK_FUNCTION_LIST makeList() {
    CK_FUNCTION_LIST list{};
    list.version = {2, 40};
#define FILL(name)                                                                                                     \
    g_name<& CK_FUNCTION_LIST::name> = #name;                                                                          \
    list.name = &Stub<&CK_FUNCTION_LIST::name, decltype(typeOf(&CK_FUNCTION_LIST::name))>::call;
#include "tests/host/doctor/Functions.inc"
#undef FILL
    list.C_Initialize = initialize;
    list.C_Finalize = finalize;
    list.C_GetInfo = getInfo;
    list.C_GetSlotList = getSlotList;
    list.C_GetSlotInfo = getSlotInfo;
    list.C_GetTokenInfo = getTokenInfo;
    if (isFault("hole")) {
        list.C_CreateObject = nullptr;
        list.C_SeedRandom = nullptr;
    }
    if (isFault("astray")) {
        static int s_data = 0;
        void* const address = &s_data;
        std::memcpy(&list.C_SeedRandom, &address, sizeof address);
    }
    return list;
}

CK_FUNCTION_LIST* otherPacking(const CK_FUNCTION_LIST& list) {
    constexpr std::size_t kOwn = offsetof(CK_FUNCTION_LIST, C_Initialize);
    constexpr std::size_t kOther = kOwn == sizeof(CK_VERSION) ? sizeof(void*) : sizeof(CK_VERSION);
    alignas(void*) static std::array<char, sizeof(CK_FUNCTION_LIST) + 64> s_bytes = {};
    std::memcpy(s_bytes.data(), &list, sizeof(CK_VERSION));
    std::memcpy(s_bytes.data() + kOther, reinterpret_cast<const char*>(&list) + kOwn, sizeof list - kOwn);
    return reinterpret_cast<CK_FUNCTION_LIST*>(s_bytes.data());
}

} // namespace

#if defined(_WIN32)
#define EXPORTED __declspec(dllexport)
#else
#define EXPORTED __attribute__((visibility("default")))
#endif

extern "C" EXPORTED CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
    static CK_FUNCTION_LIST s_list = makeList();
    *list = isFault("list") ? otherPacking(s_list) : &s_list;
    return isFault("no-list") ? CKR_GENERAL_ERROR : CKR_OK;
}

extern "C" EXPORTED CK_RV C_GetInterfaceList(CK_INTERFACE* interfaces, CK_ULONG* count) {
    static char s_name[] = "PKCS 11";
    *count = 1;
    if (interfaces != nullptr) {
        CK_FUNCTION_LIST* list = nullptr;
        C_GetFunctionList(&list);
        *interfaces = {reinterpret_cast<CK_UTF8CHAR*>(s_name), list, CKF_INTERFACE_FORK_SAFE};
    }
    return CKR_OK;
}
