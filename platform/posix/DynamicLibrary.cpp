#include "platform/DynamicLibrary.h"
#include "text/Utf8.h"

#include <dlfcn.h>
#include <limits.h>
#include <link.h>
#include <stdlib.h>

#include <cstdio>
#include <utility>

namespace platform {

namespace {

// A copy of the system's text, which this thread's next load or unload overwrites. An array, because load does not
// throw.
thread_local char t_lastError[1024];

void keepLastError(const char* text) noexcept {
    std::snprintf(t_lastError, sizeof t_lastError, "%s", text == nullptr ? "" : text);
}

} // namespace

DynamicLibrary DynamicLibrary::load(const wchar_t* name) noexcept {
    DynamicLibrary library;
    try {
        const std::string file = text::toUtf8(name);
        // To the loader an empty name means the program itself.
        if (file.empty()) {
            keepLastError("no library name was given");
            return library;
        }
        library.m_handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (library.m_handle == nullptr) {
            keepLastError(dlerror());
        }
    } catch (const std::bad_alloc&) {
        keepLastError("out of memory");
    }
    return library;
}

void* DynamicLibrary::symbol(const char* name) const noexcept {
    return m_handle == nullptr ? nullptr : dlsym(m_handle, name);
}

void DynamicLibrary::unload() noexcept {
    if (m_handle != nullptr) {
        dlclose(std::exchange(m_handle, nullptr));
    }
}

std::string DynamicLibrary::lastError() {
    return t_lastError;
}

std::wstring moduleFileName(void* module) {
    Dl_info info{};
    void* extra = nullptr;
    if (module == nullptr || dladdr1(module, &info, &extra, RTLD_DL_LINKMAP) == 0 || extra == nullptr) {
        return {};
    }
    // The program itself has no name in the loader's list.
    const char* name = static_cast<const link_map*>(extra)->l_name;
    char path[PATH_MAX];
    if (realpath(name == nullptr || *name == '\0' ? "/proc/self/exe" : name, path) == nullptr) {
        return {};
    }
    return text::toWide(path);
}

} // namespace platform
