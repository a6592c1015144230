#include "tests/binary/microsoft/Host.h"

#include <windows.h>

using Zel::Parameter;
using Zel::Text;
using Zel::Vector;

namespace {

Zel::Heap g_heap = {};

/// The first of two names that a library exports: Microsoft's compilers and GCC write the same function differently.
template <class Function>
void bind(HMODULE library, const char* microsoft, const char* gcc, Function& function) {
    FARPROC address = GetProcAddress(library, microsoft);
    if (address == nullptr) {
        address = GetProcAddress(library, gcc);
    }
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(address));
}

void bindHeap(HMODULE library) {
    bind(library, "?allocate@Zel@@YAPEAX_K@Z", "_ZN3Zel8allocateEy", g_heap.allocate);
    bind(library, "?release@Zel@@YAXPEAX@Z", "_ZN3Zel7releaseEPv", g_heap.release);
    bind(library, "??0TString@Zel@@QEAA@PEB_WH@Z", "_ZN3Zel7TStringC1EPKwi", g_heap.makeText);
    bind(library, "??0TString@Zel@@QEAA@AEBV01@@Z", "_ZN3Zel7TStringC1ERKS0_", g_heap.copyText);
    bind(library, "??1TString@Zel@@QEAA@XZ", "_ZN3Zel7TStringD1Ev", g_heap.endText);
}

/// A library with those that it needs, which stand beside it.
HMODULE load(const std::wstring& folder, const wchar_t* name) {
    if (folder.empty()) {
        return LoadLibraryW(name);
    }
    wchar_t path[MAX_PATH];
    const DWORD length = GetFullPathNameW((folder + L"/" + name).c_str(), MAX_PATH, path, nullptr);
    return length > 0 && length < MAX_PATH ? LoadLibraryExW(path, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH) : nullptr;
}

} // namespace

const Zel::Heap& Zel::heap() {
    return g_heap;
}

LoadedPlugin::LoadedPlugin(const std::wstring& folder) {
    const HMODULE framework = load(folder, L"zel-interfacesU.dll");
    const HMODULE plugin = load(folder, L"zel-coe-pkcs11U.dll");
    if (framework == nullptr || plugin == nullptr) {
        return;
    }
    bindHeap(framework);
    bind(plugin, "newInstance", "newInstance", newInstance);
    bind(plugin, "freeInstance", "freeInstance", freeInstance);
}

Zel::Executor* LoadedPlugin::makeExecutor() const {
    Vector<Parameter> parameters;
    parameters.add(Parameter(L"DLLNAME", L"p11fake.dll"));
    return newInstance(&parameters);
}

Text HostOperation::getId() const {
    called |= kGetId;
    return L"operation of the host's, with a long name";
}

Text HostOperation::getScriptType() const {
    called |= kGetScriptType;
    return L"client.p11.Larkspur";
}

Text HostOperation::getScript() const {
    called |= kGetScript;
    return m_script;
}

Vector<Parameter>* HostOperation::getParameters() const {
    called |= kGetParameters;
    if (m_parameters == nullptr) {
        return nullptr;
    }
    auto* const copy = new Vector<Parameter>;
    copy->append(*m_parameters);
    return copy;
}
