#include "client/PluginModule.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

#include "util/VersionInfo.h"

namespace {

void* attachedModule = nullptr;

// Plain characters, for executors may still be asked while the process ends, when texts have gone. Four numbers of 16
// bits and three dots fit.
wchar_t version[24] = L"?";

} // namespace

void pluginModule::attach(void* module) {
    attachedModule = module;
    const Zel::TString text = fileVersionText(module);
    const std::size_t length = std::min(text.length(), std::size(version) - 1);
    std::wmemcpy(version, text.data(), length);
    version[length] = L'\0';
}

void* pluginModule::handle() {
    return attachedModule;
}

Zel::TString pluginModule::clientVersion() {
    return version;
}
