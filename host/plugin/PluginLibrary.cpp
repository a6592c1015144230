#include "host/plugin/PluginLibrary.h"

#include <filesystem>

#include "host/plugin/Errors.h"
#include "host/plugin/Paths.h"
#include "host/plugin/Texts.h"
#include "host/plugin/WatchedModule.h"
#include "platform/LibrarySearch.h"
#include "platform/Process.h"

namespace host {

namespace {

namespace fs = std::filesystem;

/// Lets the system find what this library needs beside it.
void searchBeside(const std::string& name) {
    const fs::path file = pathOf(name);
    if (file.is_absolute()) {
        platform::alsoSearchLibrariesIn(utf8Of(file.parent_path().make_preferred()));
    }
}

/// The plug-in compares this id without regard to case.
bool namesModule(const Zel::Parameter& parameter) {
    return parameter.getId().compareIgnoreCase(L"DLLNAME") == 0;
}

/// Beside the executable, else in ../lib.
std::string defaultPath() {
    if (const std::optional<std::string> path = ownLibrary(P11HOST_PLUGIN_NAME)) {
        return *path;
    }
    throw PluginError(std::string("there is no ") + P11HOST_PLUGIN_NAME +
                      " beside the executable or in ../lib; name the plug-in with --plugin FILE");
}

} // namespace

std::string libraryFile(const std::string& name) {
    const fs::path file = pathOf(name);
    if (!file.has_parent_path()) {
        return name;
    }
    std::error_code error;
    const fs::path full = fs::absolute(file, error);
    if (error) {
        throw UsageError("cannot tell where \"" + printable(name) +
                         "\" is, for the current directory is not there; give the full path");
    }
    return utf8Of(full);
}

std::optional<std::string> ownLibrary(const std::string& name) {
    const fs::path folder = pathOf(platform::executablePath()).parent_path();
    std::error_code ignored;
    for (const fs::path& place : {folder / pathOf(name), folder.parent_path() / "lib" / pathOf(name)}) {
        if (fs::exists(place, ignored)) {
            return utf8Of(place);
        }
    }
    return std::nullopt;
}

ExecutorPtr newExecutor(const Plugin& plugin, ParameterList* parameters) {
    for (std::uint32_t i = 0; parameters != nullptr && i < parameters->size(); ++i) {
        if (namesModule(*parameters->at(i))) {
            const std::string module = toUtf8(parameters->at(i)->getValue());
            searchBeside(module);
            parameters->at(i)->setValue(toTString(moduleToLoad(module)));
        }
    }
    return {plugin.newInstance(parameters), {plugin.freeInstance}};
}

PluginLibrary PluginLibrary::load(const std::string& name) {
    PluginLibrary library;
    const std::string path = libraryFile(name.empty() ? defaultPath() : name);
    searchBeside(path);
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

} // namespace host
