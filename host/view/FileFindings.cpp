#include "host/view/FileFindings.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <vector>

#include "host/plugin/Texts.h"
#include "platform/FileRights.h"
#include "platform/Process.h"

namespace host {

namespace {

namespace fs = std::filesystem;

fs::path pathOf(const std::string& utf8) {
    return std::u8string(utf8.begin(), utf8.end());
}

std::string textOf(const fs::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

/// A module that does nothing without its configuration.
struct Configuration {
    const char* module;    ///< part of the file's name
    const char* variable;  ///< names the file instead; empty: no variable does
    const char* inHome;    ///< below the user's folder; empty: no such file
    const char* ofSystem;  ///< for all users
    const char* tokensKey; ///< the setting that names the folder of the tokens; empty: no such setting
    const char* remedy;
};

constexpr std::array<Configuration, 2> kConfigurations = {{
    {"softhsm2", "SOFTHSM2_CONF", ".config/softhsm2/softhsm2.conf", "/etc/softhsm/softhsm2.conf",
     "directories.tokendir",
     "Let SOFTHSM2_CONF name a configuration of your own, or ask the administrator to add you to the group softhsm."},
    {"opencryptoki", "", "", "/etc/opencryptoki/opencryptoki.conf", "",
     "Ask the administrator to add you to the group pkcs11, and whether pkcsslotd runs."},
}};

bool canRead(const fs::path& file) {
    return std::ifstream(file).is_open();
}

/// The file that the module reads.
fs::path fileOf(const Configuration& configuration) {
    const std::string named = *configuration.variable == '\0' ? "" : platform::environmentText(configuration.variable);
    if (!named.empty()) {
        return pathOf(named);
    }
    const fs::path own = pathOf(platform::environmentText("HOME")) / configuration.inHome;
    std::error_code ignored;
    return *configuration.inHome != '\0' && fs::exists(own, ignored) ? own : fs::path(configuration.ofSystem);
}

/// The value of "KEY = VALUE"; empty without such a line.
std::string settingIn(const fs::path& file, const std::string& key) {
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t equals = line.find('=');
        if (equals != std::string::npos && line.substr(0, key.size()) == key) {
            const std::size_t begin = line.find_first_not_of(" \t", equals + 1);
            return begin == std::string::npos ? "" : std::string(trimmed(line.substr(begin)));
        }
    }
    return {};
}

void addConfiguration(const Configuration& configuration, Findings& findings) {
    const fs::path file = fileOf(configuration);
    if (!canRead(file)) {
        findings.push_back(
            {Level::Warning, "the module's configuration " + textOf(file) + " cannot be read", configuration.remedy});
        return;
    }
    const std::string tokens = *configuration.tokensKey == '\0' ? "" : settingIn(file, configuration.tokensKey);
    std::error_code error;
    if (!tokens.empty()) {
        [[maybe_unused]] const fs::directory_iterator look(pathOf(tokens), error);
    }
    if (error) {
        findings.push_back(
            {Level::Warning, "the folder of the tokens, " + tokens + ", cannot be read", configuration.remedy});
    }
}

void addRights(const std::string& path, const char* what, Findings& findings) {
    if (platform::othersMayChange(path) == platform::OthersMay::Write) {
        findings.push_back({Level::Warning, std::string("others may change ") + what + " " + path,
                            "Whoever changes it gets every PIN: let only administrators write there."});
    }
    if (platform::belongsToAnother(path)) {
        findings.push_back({Level::Warning, std::string(what) + " " + path + " belongs to another user",
                            "That user can change it and get every PIN: use a module that root installed."});
    }
}

} // namespace

void addFileFindings(const std::string& file, Findings& findings) {
    const fs::path path = pathOf(file);
    std::error_code ignored;
    if (path.is_absolute() && fs::exists(path, ignored)) {
        addRights(file, "the module's file", findings);
        addRights(textOf(path.parent_path()), "the module's folder", findings);
    }
    const std::string name = textOf(path.filename());
    for (const Configuration& configuration : kConfigurations) {
        if (name.find(configuration.module) != std::string::npos) {
            addConfiguration(configuration, findings);
        }
    }
}

} // namespace host
