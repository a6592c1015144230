#include "bench/Module.h"

#include <stdexcept>

#include "host/plugin/Texts.h"

namespace bench {

Module::Module(const std::string& file) : m_library(platform::DynamicLibrary::load(host::toTString(file).c_str())) {
    if (!m_library.isLoaded()) {
        throw std::runtime_error("cannot load " + file + ": " + platform::DynamicLibrary::lastError());
    }
    const auto getFunctionList = reinterpret_cast<CK_C_GetFunctionList>(m_library.symbol("C_GetFunctionList"));
    if (getFunctionList == nullptr) {
        throw std::runtime_error(file + " is no PKCS#11 module");
    }
    require(getFunctionList(&m_pFunctions), "C_GetFunctionList");
}

NoopControl* Module::noop() const {
    const auto control = reinterpret_cast<NoopControlFunction>(m_library.symbol("noopControl"));
    return control == nullptr ? nullptr : control();
}

std::string noopFile() {
    return BENCH_NOOP_FILE;
}

void require(CK_RV rv, const char* function) {
    if (rv != CKR_OK) {
        throw std::runtime_error(std::string(function) + " answered " + std::to_string(rv));
    }
}

} // namespace bench
