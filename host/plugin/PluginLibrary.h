#pragma once

#include <memory>
#include <optional>
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

/// Gives an executor back to the plug-in. freeInstance promises not to throw; an exception of a plug-in that breaks
/// this promise is dropped.
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

/// The name of a library as the system gets it. A name with a folder part becomes a full path, so that it cannot mean
/// another file later; a bare name stays, and the system searches for it beside the program and in its own folders.
/// UTF-8. UsageError when the current directory is unknown.
[[nodiscard]] std::string libraryFile(const std::string& name);

/// A library of ours that the user does not name: beside the executable, else in ../lib. UTF-8; nullopt when it is in
/// neither place.
[[nodiscard]] std::optional<std::string> ownLibrary(const std::string& name);

/// Calls newInstance. When "DLLNAME" is a full path, the libraries that the module needs are also searched beside it.
[[nodiscard]] ExecutorPtr newExecutor(const Plugin& plugin, ParameterList* parameters);

/// A loaded plug-in. It must outlive its executors.
class PluginLibrary {
public:
    /// Loads the plug-in with this UTF-8 file name (see libraryFile); when it is empty, the one beside the executable,
    /// else in ../lib. PluginError when it is not there, cannot be loaded, or lacks one of the two functions.
    [[nodiscard]] static PluginLibrary load(const std::string& name);

    [[nodiscard]] const Plugin& plugin() const noexcept { return m_plugin; }

private:
    platform::DynamicLibrary m_library;
    Plugin m_plugin;
};

} // namespace host
