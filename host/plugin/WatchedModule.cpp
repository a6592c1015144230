#include "host/plugin/WatchedModule.h"

#include <optional>

#include "host/plugin/Errors.h"
#include "host/plugin/PluginLibrary.h"
#include "host/plugin/Texts.h"
#include "platform/Process.h"

namespace host {

namespace {

std::string g_watch;  ///< the file of p11watch; empty: modules are not watched
std::string g_module; ///< the module behind it; empty: none was loaded yet

} // namespace

void watchModule(const std::string& file) {
    const std::optional<std::string> watch = ownLibrary(P11HOST_WATCH_NAME);
    if (!watch) {
        throw PluginError(std::string("there is no ") + P11HOST_WATCH_NAME +
                          " beside the executable or in ../lib, which --watch takes");
    }
    platform::setEnvironmentVariable("P11WATCH_FILE", file);
    g_watch = *watch;
}

std::string moduleToLoad(const std::string& module) {
    if (g_watch.empty()) {
        return module;
    }
    if (!g_module.empty() && module != g_module) {
        throw UsageError("--watch records the calls of one module, and \"" + printable(g_module) +
                         "\" is in use already; watch \"" + printable(module) + "\" in a run of its own");
    }
    g_module = module;
    platform::setEnvironmentVariable("P11WATCH_MODULE", module);
    return g_watch;
}

} // namespace host
