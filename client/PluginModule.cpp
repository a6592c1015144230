#include "client/PluginModule.h"

#include "util/VersionInfo.h"

namespace {

void* attachedModule = nullptr;

Zel::TString& version() {
    static Zel::TString text(L"?");
    return text;
}

} // namespace

void pluginModule::attach(void* module) {
    attachedModule = module;
    version() = fileVersionText(module);
}

void* pluginModule::handle() {
    return attachedModule;
}

const Zel::TString& pluginModule::clientVersion() {
    return version();
}
