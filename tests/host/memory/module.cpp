// A PKCS#11 module that does nothing but look through the memory of the process that has loaded it, each time it is
// asked for its slots.
#include "cryptoki/cryptoki.h"
#include "tests/host/memory/Search.h"

extern "C" CK_RV noopFunctionList(CK_FUNCTION_LIST** list);

namespace {

CK_FUNCTION_LIST g_list;
CK_C_GetSlotList g_getSlotList = nullptr;

CK_RV getSlotList(CK_BBOOL present, CK_SLOT_ID* slots, CK_ULONG* count) {
    if (slots == nullptr) {
        tests::searchOwnMemory();
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
