#include "tests/threads/Memory.h"

#include "zel/Allocator.h"

#include <dlfcn.h>

namespace {

thread_local bool t_isRefused = false;

} // namespace

void refuseNextExecutor() {
    t_isRefused = true;
}

// Stands before the framework's own for everything that is linked into this program.
void* Zel::tryAllocate(std::size_t size) noexcept {
    if (t_isRefused) {
        t_isRefused = false;
        return nullptr;
    }
    static const auto s_next = reinterpret_cast<void* (*)(std::size_t)>(::dlsym(RTLD_NEXT, "_ZN3Zel11tryAllocateEm"));
    return s_next(size);
}
