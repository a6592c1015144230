#include "host/plugin/PluginLibrary.h"

#include <filesystem>

#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "platform/Process.h"

namespace host {

namespace {

namespace fs = std::filesystem;

fs::path fromUtf8(const std::string& text) {
    return {std::u8string(text.begin(), text.end())};
}

std::string toUtf8(const fs::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

} // namespace

PluginLibrary PluginLibrary::load(const std::string& path) {
    PluginLibrary library;
    library.m_library = platform::DynamicLibrary::load(toTString(path).c_str());
    if (!library.m_library.isLoaded()) {
        throw PluginError("cannot load the plug-in \"" + printable(path) +
                          "\": " + platform::DynamicLibrary::lastError());
    }
    library.m_plugin.newInstance = reinterpret_cast<Plugin::NewInstance>(library.m_library.symbol("newInstance"));
    library.m_plugin.freeInstance = reinterpret_cast<Plugin::FreeInstance>(library.m_library.symbol("freeInstance"));
    if (library.m_plugin.newInstance == nullptr || library.m_plugin.freeInstance == nullptr) {
        throw PluginError("\"" + printable(path) + "\" is no plug-in: it does not offer newInstance and freeInstance");
    }
    return library;
}

std::string PluginLibrary::defaultPath() {
    const fs::path folder = fromUtf8(platform::executablePath()).parent_path();
    std::error_code ignored;
    for (const fs::path& place : {folder / P11HOST_PLUGIN_NAME, folder.parent_path() / "lib" / P11HOST_PLUGIN_NAME}) {
        if (fs::exists(place, ignored)) {
            return toUtf8(place);
        }
    }
    throw PluginError(std::string("there is no ") + P11HOST_PLUGIN_NAME +
                      " beside the executable or in ../lib; name the plug-in with --plugin FILE");
}

} // namespace host
