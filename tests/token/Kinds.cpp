#include "tests/token/Kinds.h"

#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <string_view>

namespace Token {

namespace {

// The sanitizer wants to be the first library of a program that is built with it.
#ifdef ORDINARY_USER
constexpr const char* kOrdinaryUser =
    "ASAN_OPTIONS=$ASAN_OPTIONS:verify_asan_link_order=0 LD_PRELOAD='" ORDINARY_USER "' ";
#else
constexpr const char* kOrdinaryUser = "";
#endif

void bringUpSofthsm(const Folder& folder) {
    std::filesystem::create_directory(folder.path() + "/tokens");
    folder.write("softhsm2.conf", "directories.tokendir = " + folder.path() +
                                      "/tokens\nobjectstore.backend = file\nlog.level = ERROR\n");
    setVariable("SOFTHSM2_CONF", folder.path() + "/softhsm2.conf");
}

/// A configuration in which SoftHSM2 is the only module.
void bringUpProxy(const Folder& folder) {
    bringUpSofthsm(folder);
    std::filesystem::create_directories(folder.path() + "/pkcs11/modules");
    folder.write("pkcs11/pkcs11.conf", "user-config: only\n");
    folder.write("pkcs11/modules/softhsm2.module", std::string("module: ") + SOFTHSM2_MODULE + "\n");
    setVariable("XDG_CONFIG_HOME", folder.path());
}

void bringUpOpencryptoki(const Folder& folder) {
    (void)folder.run(OPENCRYPTOKI_DAEMON);
}

/// A Windows program is told by the script that runs it (./under-wine). Without the module for pkcs11-tool there is
/// nothing to look at the token with.
const char* softhsmOfThisProgram() {
    const char* file = std::getenv("SOFTHSM2_DLL");
    // A copy, because what the environment gives lasts until it is changed.
    static const std::string s_dll = file == nullptr ? "" : file;
    return s_dll.empty() || std::string_view(SOFTHSM2_MODULE).empty() ? SOFTHSM2_MODULE : s_dll.c_str();
}

} // namespace

Kind softhsm() {
    return {.name = "SoftHSM2",
            .module = softhsmOfThisProgram(),
            .toolModule = SOFTHSM2_MODULE,
            .toolEnvironment = "",
            .bringUp = &bringUpSofthsm,
            .triesToLock = 0,
            .containerName = "80f9",
            .searchBehindOpenSearch = "80f5",
            .initWithWrongPin = "80ee",
            .dataTooLong = "80f7",
            .shortPin = "80fc",
            .lockingPin = "",
            .noUserPin = "80f5",
            .noSubject = "8105",
            .leftWithoutSubject = 1,
            .category = "0",
            .severalExecutors = true};
}

Kind proxy() {
    Kind kind = softhsm();
    kind.name = "SoftHSM2BehindProxy";
    kind.module = std::string_view(SOFTHSM2_MODULE).empty() ? "" : PROXY_MODULE;
    kind.toolModule = kind.module;
    kind.toolEnvironment = kOrdinaryUser;
    kind.bringUp = &bringUpProxy;
    kind.severalExecutors = false;
    return kind;
}

Kind opencryptoki() {
    return {.name = "Opencryptoki",
            .module = OPENCRYPTOKI_MODULE,
            .toolModule = OPENCRYPTOKI_MODULE,
            .toolEnvironment = "",
            .bringUp = &bringUpOpencryptoki,
            .triesToLock = 3,
            .containerName = "8106",
            .searchBehindOpenSearch = "80f5",
            .initWithWrongPin = "80ee",
            .dataTooLong = "80f9",
            .shortPin = "80fc",
            .lockingPin = "80ee",
            .noUserPin = "80f5",
            .noSubject = "8105",
            .leftWithoutSubject = 0,
            .category = "80f9",
            .severalExecutors = true};
}

std::vector<Kind> kinds() {
    const char* wanted = std::getenv("TOKEN_KIND");
    if (wanted != nullptr && std::string_view(wanted) == "opencryptoki") {
        return {opencryptoki()};
    }
    return {softhsm(), proxy()};
}

std::vector<Kind> kindsForSeveralExecutors() {
    std::vector<Kind> found = kinds();
    std::erase_if(found, [](const Kind& kind) { return !kind.severalExecutors; });
    return found;
}

std::string watched(const std::string& module) {
    const char* watch = std::getenv("TOKEN_WATCH");
    if (watch == nullptr) {
        return module;
    }
    const std::string name = watch; // the environment moves when it grows
    setVariable("P11WATCH_MODULE", module);
    return name;
}

void PrintTo(const Kind& kind, std::ostream* stream) {
    *stream << kind.name;
}

} // namespace Token
