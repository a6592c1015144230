// A PKCS#11 module that does nothing but look through the memory of the process that has loaded it, each time it is
// asked for its slots. P11SEEK_SECRETS names the file with what it looks for, P11SEEK_FOUND the one where it appends a
// line for each answer: "search", whether the process may be dumped, and behind it every secret that it found, with the
// place.
//
// The secret "planted" it puts into its own data, heap and stack before each search: a search that does not find those
// three finds nothing.
#include "cryptoki/cryptoki.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <sys/prctl.h>
#include <sys/resource.h>

#include "tests/host/memory/Regions.h"
#include "tests/host/memory/Seeker.h"

extern "C" CK_RV noopFunctionList(CK_FUNCTION_LIST** list);

namespace {

constexpr std::size_t kPlanted = 24;

char g_planted[kPlanted];
CK_FUNCTION_LIST g_list;
CK_C_GetSlotList g_getSlotList = nullptr;

std::string content(const char* variable) {
    const char* const file = std::getenv(variable);
    std::ifstream stream(file == nullptr ? "" : file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

const tests::Seeker& seeker() {
    static const tests::Seeker s_seeker(content("P11SEEK_SECRETS"));
    return s_seeker;
}

/// Of the secret "planted", which is the first line.
void plant(char* place) {
    static const std::string s_line = content("P11SEEK_SECRETS");
    for (std::size_t i = 0; i < kPlanted; ++i) {
        place[i] = static_cast<char>(s_line[sizeof "planted" + i] ^ '\x80');
    }
}

bool holds(const tests::Region& region, const char* place) {
    const auto address = reinterpret_cast<std::size_t>(place);
    return region.begin <= address && address < region.end;
}

void search() {
    char onStack[kPlanted];
    plant(onStack);
    plant(g_planted);
    const std::unique_ptr<char[]> onHeap(new char[kPlanted]);
    plant(onHeap.get());
    asm volatile("" : : "r"(onStack) : "memory");
    std::set<std::string> findings;
    for (const tests::Region& region : tests::writableRegions("/proc/self/maps")) {
        // A thread has a stack and a heap of its own, which the system has no names for.
        const std::string kind = holds(region, onStack) ? "stack" : holds(region, onHeap.get()) ? "heap" : region.kind;
        // NOLINTNEXTLINE(performance-no-int-to-ptr): the system tells addresses as numbers
        seeker().search(reinterpret_cast<const void*>(region.begin), region.end - region.begin,
                        [&](const std::string& name) { findings.insert(name + "@" + kind); });
    }
    std::memset(onStack, 0, sizeof onStack);
    std::memset(g_planted, 0, sizeof g_planted);
    asm volatile("" : : "r"(onStack), "r"(g_planted) : "memory");
    std::ofstream answer(std::getenv("P11SEEK_FOUND"), std::ios::app);
    struct rlimit core = {};
    ::getrlimit(RLIMIT_CORE, &core);
    answer << "search dumpable=" << ::prctl(PR_GET_DUMPABLE) << " core=" << core.rlim_cur;
    for (const std::string& finding : findings) {
        answer << " " << finding;
    }
    answer << "\n";
}

CK_RV getSlotList(CK_BBOOL present, CK_SLOT_ID* slots, CK_ULONG* count) {
    if (slots == nullptr && std::getenv("P11SEEK_FOUND") != nullptr) {
        search();
    }
    return g_getSlotList(present, slots, count);
}

} // namespace

extern "C" __attribute__((visibility("default"))) CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
    CK_FUNCTION_LIST* noop = nullptr;
    (void)noopFunctionList(&noop);
    g_list = *noop;
    g_getSlotList = noop->C_GetSlotList;
    g_list.C_GetSlotList = getSlotList;
    *list = &g_list;
    return CKR_OK;
}
