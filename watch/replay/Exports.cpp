#include <exception>
#include <memory>
#include <mutex>
#include <new>

#include "watch/replay/Replay.h"

using namespace watch;

namespace {

std::mutex g_mutex; ///< guards the making of what follows
std::unique_ptr<Replay> g_replay;
CK_FUNCTION_LIST g_list{};

struct Handler {
    template <auto kMember, class... Parameters>
    static CK_RV call(FunctionId id, Words words, Parameters...) {
        // Null when the process is ending.
        return g_replay ? g_replay->call(id, words) : CKR_CRYPTOKI_NOT_INITIALIZED;
    }
};

/// Every function, except those that the recorded module did not have.
void makeList(const Replay& replay) {
    CK_FUNCTION_LIST real{};
#define WATCH_PRESENT(name)                                                                                            \
    real.name = replay.isAbsent(#name) ? nullptr : Binding<Handler, &CK_FUNCTION_LIST::name, FunctionId::name>::call;
    WATCH_FUNCTIONS(WATCH_PRESENT)
#undef WATCH_PRESENT
    real.version = {2, 40};
    real.C_GetFunctionList = &C_GetFunctionList;
    g_list = real;
}

CK_RV makeReplay() {
    auto replay = std::make_unique<Replay>();
    if (!replay->load()) {
        return CKR_GENERAL_ERROR;
    }
    makeList(*replay);
    g_replay = std::move(replay);
    return CKR_OK;
}

} // namespace

extern "C" CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
    if (list == nullptr) {
        return CKR_ARGUMENTS_BAD;
    }
    const std::lock_guard lock(g_mutex);
    try {
        const CK_RV result = g_replay ? CKR_OK : makeReplay();
        *list = result == CKR_OK ? &g_list : nullptr;
        return result;
    } catch (const std::bad_alloc&) {
        return CKR_HOST_MEMORY;
    } catch (const std::exception&) {
        return CKR_GENERAL_ERROR;
    }
}
