#include "client/PluginModule.h"

#include <exception>
#include <iterator>
#include <string_view>

#include "util/VersionInfo.h"

namespace plugin {

namespace {

void* attachedModule = nullptr;

// An array: hosts may ask executors for the version while the process ends, after the destructors of static objects. It
// has room for four 16-bit numbers and three dots.
wchar_t version[24] = L"?";

void keepVersion(std::wstring_view text) {
    const std::size_t length = text.copy(version, std::size(version) - 1);
    version[length] = L'\0';
}

} // namespace

void pluginModule::attach(void* module) {
    attachedModule = module;
    keepVersion(L"?");
    try {
        const Zel::TString text = fileVersionText(module);
        keepVersion({text.data(), text.length()});
    } catch (const std::exception&) {
        // Memory is short: the version stays "?" and loading goes on.
    }
}

void* pluginModule::handle() {
    return attachedModule;
}

const wchar_t* pluginModule::clientVersion() {
    return version;
}

} // namespace plugin
