#include "plugin/Entry.h"

#include "client/PluginModule.h"
#include "ry/rylog.h"
#include "util/Trace.h"

#if defined(_WIN32)
#include <windows.h>
#endif

namespace plugin {

void onEntry(void* module, unsigned int reason) {
    rylogSetModuleName(Trace::kModuleName);
    const Trace trace(L"DllMain", Trace::kExports);
    const auto handle = reinterpret_cast<std::uintptr_t>(module);
    switch (static_cast<EntryReason>(reason)) {
    case EntryReason::ProcessDetach:
        break;
    case EntryReason::ProcessAttach:
        trace.write(TraceLevel::Call, L": Dll Attach process (hModule=0x%x)", handle);
        pluginModule::attach(module);
        trace.write(TraceLevel::Value, L": Client Version = %ws", pluginModule::clientVersion());
        break;
    case EntryReason::ThreadAttach:
        trace.write(TraceLevel::Call, L": Dll Attach thread (hModule=0x%x)", handle);
        break;
    case EntryReason::ThreadDetach:
        trace.write(TraceLevel::Call, L": Dll Detach thread (hModule=0x%x)", handle);
        break;
    default:
        trace.failure(L"Dll Unknown Reason %d", reason);
    }
}

} // namespace plugin

#if defined(_WIN32)

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
    plugin::onEntry(module, reason);
    return TRUE;
}

#else

namespace {

using plugin::EntryReason;

// The Linux loader reports process attach and detach only. Any address inside the library serves as its handle.
__attribute__((constructor)) void attachProcess() {
    plugin::onEntry(reinterpret_cast<void*>(&attachProcess), static_cast<unsigned int>(EntryReason::ProcessAttach));
}

__attribute__((destructor)) void detachProcess() {
    plugin::onEntry(reinterpret_cast<void*>(&attachProcess), static_cast<unsigned int>(EntryReason::ProcessDetach));
}

} // namespace

#endif
