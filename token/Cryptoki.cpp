#include "token/Cryptoki.h"

namespace plugin {

void Cryptoki::bind(const Trace& trace, const platform::DynamicLibrary& library) {
    m_pFunctionList = nullptr;
    trace.write(TraceLevel::Call, L": C_GetFunctionList");
    const auto getFunctionList = reinterpret_cast<CK_C_GetFunctionList>(library.symbol("C_GetFunctionList"));
    if (getFunctionList == nullptr) {
        trace.failure(L": Unable to ProcAddress C_GetFunctionList");
        return;
    }
    trace.write(TraceLevel::Value, L": Calling pC_GetFunctionList");
    const CK_RV rv = invoke(getFunctionList, &m_pFunctionList);
    if (rv != CKR_OK) {
        trace.failure(L": C_GetFunctionList failed 0x%x", rv);
    }
}

} // namespace plugin
