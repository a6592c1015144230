#include "tests/watch/module/Odd.h"

#include "zel/Export.h"

namespace {

Odd::Control g_control;
CK_FUNCTION_LIST g_list;

CK_RV succeed(void*) {
    return CKR_OK;
}

} // namespace

extern "C" {

ZEL_EXPORT Odd::Control* oddControl() {
    return &g_control;
}

ZEL_EXPORT CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
    g_list.version = g_control.version;
    g_list.C_GetFunctionList = C_GetFunctionList;
    g_list.C_Initialize = succeed;
    g_list.C_Finalize = succeed;
    *list = g_control.list == Odd::List::None ? nullptr : &g_list;
    return CKR_OK;
}

} // extern "C"
