#include "watch/recorder/RealModule.h"

#include <cstddef>
#include <exception>
#include <new>
#include <string>
#include <utility>

#include "platform/DynamicLibrary.h"
#include "platform/Process.h"
#include "text/Utf8.h"
#include "watch/calls/Messages.h"
#include "watch/recorder/Exports.h"
#include "watch/recorder/MadeOnce.h"

namespace watch {

namespace {

void complain(const std::string& text) noexcept {
    say("p11watch", text);
}

RealModule load() {
    const std::string name = platform::environmentText("P11WATCH_MODULE");
    if (name.empty()) {
        complain("P11WATCH_MODULE names no PKCS#11 module");
        return {};
    }
    platform::DynamicLibrary library = platform::DynamicLibrary::load(text::toWide(name).c_str());
    if (!library.isLoaded()) {
        complain("cannot load the module \"" + name + "\": " + platform::DynamicLibrary::lastError());
        return {};
    }
    RealModule module;
    module.getFunctionList = reinterpret_cast<CK_C_GetFunctionList>(library.symbol("C_GetFunctionList"));
    if (module.getFunctionList == nullptr) {
        complain("\"" + name + "\" is no PKCS#11 module: it does not offer C_GetFunctionList");
        return {};
    }
    if (module.getFunctionList == &C_GetFunctionList) {
        complain("P11WATCH_MODULE names p11watch itself");
        return {};
    }
    module.getInterfaceList = reinterpret_cast<CK_C_GetInterfaceList>(library.symbol("C_GetInterfaceList"));
    module.getInterface = reinterpret_cast<CK_C_GetInterface>(library.symbol("C_GetInterface"));
    [[maybe_unused]] static platform::DynamicLibrary* const s_kept = [&library] {
        alignas(platform::DynamicLibrary) static std::byte s_storage[sizeof(platform::DynamicLibrary)];
        return new (s_storage) platform::DynamicLibrary(std::move(library));
    }();
    return module;
}

} // namespace

RealModule realModule() noexcept {
    static RealModule s_module;
    {
        const std::lock_guard lock(g_madeOnce);
        if (s_module.getFunctionList != nullptr) {
            return s_module;
        }
    }
    RealModule loaded;
    try {
        loaded = load();
    } catch (const std::exception&) {
        complain("memory is short");
    }
    // Where two threads have asked at once, both have the same module.
    const std::lock_guard lock(g_madeOnce);
    s_module = s_module.getFunctionList == nullptr ? loaded : s_module;
    return s_module;
}

} // namespace watch
