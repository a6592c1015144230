#include "host/view/Examiner.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <optional>
#include <vector>

#include "cryptoki/Version3.h"
#include "host/inspect/FunctionTable.h"
#include "host/inspect/InfoViews.h"
#include "host/inspect/ModuleCalls.h"
#include "host/plugin/Paths.h"
#include "host/plugin/PluginLibrary.h"
#include "host/plugin/Texts.h"
#include "host/plugin/WatchedModule.h"
#include "host/view/Dependencies.h"
#include "host/view/Layout.h"
#include "host/view/LibraryHeader.h"
#include "host/view/SlotExaminer.h"
#include "platform/DynamicLibrary.h"
#include "platform/LibrarySearch.h"
#include "platform/Process.h"

namespace host {

namespace {

namespace fs = std::filesystem;

constexpr CK_ULONG kMostInterfaces = 64;

Json headerJson(const LibraryHeader& header, const LibraryHeader& own) {
    return {{"kind", describe(header)},
            {"fits", isForSystemOf(header, own)},
            {"wanted", own.format + ", " + std::to_string(own.bits) + " bits, " + own.machine},
            {"needs", header.needed}};
}

Json missingJson(const std::string& file) {
    Json list = Json::array();
    for (const MissingLibrary& missing : missingLibraries(file)) {
        list.push_back({{"name", missing.name}, {"neededBy", missing.neededBy}, {"reason", missing.reason}});
    }
    return list;
}

class ModuleExaminer {
public:
    explicit ModuleExaminer(const CallReport& report) : m_report(report) {}

    void run(const std::string& module) {
        if (load(module) && readFunctions() && initialise()) {
            SlotExaminer(m_report, m_functions).run();
            ask<&CK_FUNCTION_LIST::C_Finalize>("C_Finalize", nullptr);
        }
        m_report.step("unloading the module");
        m_watch.unload();
        m_library.unload();
    }

private:
    /// A call of the module, by way of p11watch when the calls are recorded.
    template <auto Member, class... Args>
    CK_RV ask(const char* name, Args... args) const {
        return m_report.call(name, [&] { return ModuleCalls(m_functions).call<Member>(args...); });
    }

    /// Says what the file is. Returns false when this process cannot load it.
    bool readHeader(const std::string& file) {
        const std::optional<LibraryHeader> own = libraryHeaderOf(platform::executablePath());
        const std::optional<LibraryHeader> header = libraryHeaderOf(file);
        if (!header || !own) {
            return true; // the loader says why, in its own words
        }
        m_report.fact("library", headerJson(*header, *own));
        return isForSystemOf(*header, *own);
    }

    bool load(const std::string& module) {
        m_file = libraryFile(module);
        m_report.fact("file", m_file);
        m_report.step("reading the file");
        const fs::path path = pathOf(m_file);
        if (path.has_parent_path() && !readHeader(m_file)) {
            return false;
        }
        if (path.is_absolute()) {
            platform::alsoSearchLibrariesIn(utf8Of(path.parent_path().make_preferred()));
        }
        m_report.step("loading the module");
        m_library = platform::DynamicLibrary::load(toTString(m_file).c_str());
        if (!m_library.isLoaded()) {
            m_report.fact("loadError", platform::DynamicLibrary::lastError());
            m_report.step("looking for the libraries that it needs");
            m_report.fact("missing", missingJson(m_file));
            return false;
        }
        if (!path.has_parent_path()) {
            nameLoadedFile();
        }
        return true;
    }

    /// A bare name was searched by the system: says which file that found.
    void nameLoadedFile() {
        for (void* const inside : {m_library.symbol("C_GetFunctionList"), m_library.handle()}) {
            const std::wstring found = platform::moduleFileName(inside);
            if (!found.empty()) {
                m_file = toUtf8(Zel::TString(found.c_str()));
                m_report.fact("file", m_file);
                static_cast<void>(readHeader(m_file));
                return;
            }
        }
    }

    bool readFunctions() {
        const auto getList = reinterpret_cast<CK_C_GetFunctionList>(m_library.symbol("C_GetFunctionList"));
        if (getList == nullptr) {
            m_report.fact("functions", nullptr);
            return false;
        }
        const CK_RV rv =
            m_report.call("C_GetFunctionList", [&] { return ModuleCalls::guarded(getList, &m_functions); });
        if (rv != CKR_OK || m_functions == nullptr) {
            m_report.fact("functions", nullptr);
            return false;
        }
        m_report.step("reading the list of functions");
        const bool isUsable = judgeList();
        readInterfaces();
        return isUsable && putWatchInFront();
    }

    bool judgeList() const {
        const platform::ExecutableMemory memory = platform::ExecutableMemory::now();
        const ListLayout layout = layoutOfList(m_functions, memory);
        Json missing = Json::array();
        Json astray = Json::array();
        for (const FunctionEntry& entry : functionTable()) {
            const std::uintptr_t address = addressIn(m_functions, entry);
            if (address == 0) {
                missing.push_back(entry.name);
            } else if (!memory.contains(address)) {
                astray.push_back(entry.name);
            }
        }
        const bool isForeign = layout == ListLayout::Foreign;
        m_report.fact("functions", {{"version", isForeign ? Json(nullptr) : Json(versionText(m_functions->version))},
                                    {"total", functionTable().size()},
                                    {"missing", isForeign ? Json::array() : missing},
                                    {"astray", isForeign ? Json::array() : astray},
                                    {"foreign", isForeign}});
        return layout == ListLayout::Own;
    }

    void readInterfaces() const {
        const auto getList = reinterpret_cast<CK_C_GetInterfaceList>(m_library.symbol("C_GetInterfaceList"));
        if (getList == nullptr) {
            return;
        }
        CK_ULONG count = 0;
        const auto ask = [&](CK_INTERFACE* list) {
            return m_report.call("C_GetInterfaceList", [&] { return ModuleCalls::guarded(getList, list, &count); });
        };
        Json list = Json::array();
        if (ask(nullptr) == CKR_OK && count > 0 && count <= kMostInterfaces) {
            std::vector<CK_INTERFACE> interfaces(count);
            if (ask(interfaces.data()) == CKR_OK) {
                interfaces.resize(std::min<std::size_t>(count, interfaces.size()));
                m_report.step("reading the interfaces");
                for (const CK_INTERFACE& entry : interfaces) {
                    list.push_back(interfaceJson(entry));
                }
            }
        }
        m_report.fact("interfaces", std::move(list));
    }

    static Json interfaceJson(const CK_INTERFACE& entry) {
        constexpr std::size_t kLongestName = 64;
        const auto* const name = reinterpret_cast<const char*>(entry.pInterfaceName);
        const auto* const version = static_cast<const CK_VERSION*>(entry.pFunctionList);
        return {{"name",
                 name == nullptr ? Json(nullptr) : Json(std::string(name, std::find(name, name + kLongestName, '\0')))},
                {"version", version == nullptr ? Json(nullptr) : Json(versionText(*version))},
                {"forkSafe", (entry.flags & CKF_INTERFACE_FORK_SAFE) != 0}};
    }

    bool putWatchInFront() {
        const std::string loaded = moduleToLoad(m_file);
        if (loaded == m_file) {
            return true;
        }
        m_report.step("loading p11watch");
        m_watch = platform::DynamicLibrary::load(toTString(loaded).c_str());
        const auto getList = reinterpret_cast<CK_C_GetFunctionList>(m_watch.symbol("C_GetFunctionList"));
        return getList != nullptr && getList(&m_functions) == CKR_OK;
    }

    bool initialise() {
        // A module with a wider CK_ULONG reads behind the structure: zeros stand there.
        struct {
            CK_C_INITIALIZE_ARGS arguments;
            std::array<unsigned char, 64> behind;
        } given{};
        given.arguments.flags = CKF_OS_LOCKING_OK;
        if (ask<&CK_FUNCTION_LIST::C_Initialize>("C_Initialize", &given.arguments) != CKR_OK) {
            return false;
        }
        InfoProbe probe;
        for (const bool second : {false, true}) {
            if (ask<&CK_FUNCTION_LIST::C_GetInfo>("C_GetInfo", probe.prepare(second)) != CKR_OK) {
                return true;
            }
        }
        const std::string foreign = probe.foreignLayout();
        m_report.fact("layout", {{"own", ownLayout()}, {"foreign", foreign}, {"known", probe.isOurs()}});
        if (foreign.empty()) {
            const CK_INFO& info = probe.info();
            m_report.fact("info", {{"cryptoki", versionText(info.cryptokiVersion)},
                                   {"manufacturer", fieldText(info.manufacturerID)},
                                   {"flags", info.flags},
                                   {"description", fieldText(info.libraryDescription)},
                                   {"version", versionText(info.libraryVersion)}});
        }
        return foreign.empty();
    }

    const CallReport& m_report;
    std::string m_file;
    platform::DynamicLibrary m_library;
    platform::DynamicLibrary m_watch;
    CK_FUNCTION_LIST* m_functions = nullptr;
};

} // namespace

void examineModule(const std::string& module, const CallReport& report) {
    ModuleExaminer(report).run(module);
    report.fact("ended", true);
}

} // namespace host
