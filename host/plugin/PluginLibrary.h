#pragma once

#include <memory>
#include <string>

#include "host/plugin/ParameterList.h"
#include "platform/DynamicLibrary.h"
#include "zel/ClientOperationExecutor.h"

namespace host {

/// The two functions of a plug-in.
struct Plugin {
    using NewInstance = Zel::ClientOperationExecutor* (*)(ParameterList*);
    using FreeInstance = void (*)(Zel::ClientOperationExecutor*);

    NewInstance newInstance = nullptr;
    FreeInstance freeInstance = nullptr;
};

/// An executor that goes back to the plug-in when it is no longer needed. freeInstance does not throw; a plug-in that
/// breaks this promise has nobody left to tell.
struct FreeExecutor {
    Plugin::FreeInstance freeInstance;
    void operator()(Zel::ClientOperationExecutor* executor) const noexcept {
        try {
            freeInstance(executor);
        } catch (...) { // NOLINT(bugprone-empty-catch)
        }
    }
};
using ExecutorPtr = std::unique_ptr<Zel::ClientOperationExecutor, FreeExecutor>;

/// The name that the system is given for a library. A name with a folder part becomes a full path, so that it cannot
/// mean another file later; a bare name stays, and the system looks for it beside the program and in its own folders.
/// UTF-8. UsageError when the current directory is unknown.
[[nodiscard]] std::string libraryFile(const std::string& name);

/// What newInstance answers. What the module ("DLLNAME") needs is found beside it when it is named by its full path.
[[nodiscard]] ExecutorPtr newExecutor(const Plugin& plugin, ParameterList* parameters);

/// A loaded plug-in. It must outlive its executors.
class PluginLibrary {
public:
    /// Loads the plug-in with this UTF-8 file name (see libraryFile). PluginError when it cannot be loaded, or lacks
    /// one of the two functions.
    [[nodiscard]] static PluginLibrary load(const std::string& name);

    /// Where the plug-in is looked for when nobody names it: beside the executable, then in ../lib.
    /// PluginError when it is in neither place.
    [[nodiscard]] static std::string defaultPath();

    [[nodiscard]] const Plugin& plugin() const noexcept { return m_plugin; }

private:
    platform::DynamicLibrary m_library;
    Plugin m_plugin;
};

} // namespace host
