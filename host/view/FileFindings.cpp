#include "host/view/FileFindings.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <vector>

#include "host/plugin/Paths.h"
#include "host/plugin/Texts.h"
#include "platform/FileRights.h"
#include "platform/Process.h"

namespace host {

namespace {

namespace fs = std::filesystem;

/// A module that does nothing without its configuration. Builds of a module differ in where it is by default.
struct Configuration {
    const char* module;                  ///< part of the file's name
    const char* variable;                ///< names the file instead; empty: no variable does
    const char* inHome;                  ///< below the user's folder; empty: no such file
    std::array<const char*, 2> ofSystem; ///< for all users: the first that is there; may be empty
    const char* tokensKey;               ///< the setting that names the folder of the tokens; empty: no such setting
    const char* tokens;                  ///< that folder without the setting
    const char* remedy;
};

constexpr std::array<Configuration, 2> kConfigurations = {{
    {"softhsm2",
     "SOFTHSM2_CONF",
     ".config/softhsm2/softhsm2.conf",
     {"/etc/softhsm/softhsm2.conf", "/etc/softhsm2.conf"},
     "directories.tokendir",
     "/var/lib/softhsm/tokens",
     "Let SOFTHSM2_CONF name a configuration of your own, or ask the administrator to add you to the group softhsm."},
    {"opencryptoki",
     "",
     "",
     {"/etc/opencryptoki/opencryptoki.conf", ""},
     "",
     "",
     "Ask the administrator to add you to the group pkcs11, and whether pkcsslotd runs."},
}};

/// A pipe is not opened: that would be to wait for a writer.
bool canRead(const fs::path& file) {
    std::error_code ignored;
    return fs::is_regular_file(file, ignored) && std::ifstream(file).is_open();
}

/// Returns true also for what is in a folder that this user may not look into.
bool mayBeThere(const fs::path& path) {
    std::error_code ignored;
    return fs::status(path, ignored).type() != fs::file_type::not_found;
}

/// The files that the module may read, in its order.
std::vector<fs::path> placesOf(const Configuration& configuration) {
    const std::string named = *configuration.variable == '\0' ? "" : platform::environmentText(configuration.variable);
    if (!named.empty()) {
        return {pathOf(named)};
    }
    std::vector<fs::path> places;
    const std::string home = platform::environmentText("HOME");
    if (*configuration.inHome != '\0' && !home.empty()) {
        places.push_back(pathOf(home) / configuration.inHome);
    }
    for (const char* const place : configuration.ofSystem) {
        if (*place != '\0') {
            places.emplace_back(place);
        }
    }
    return places;
}

std::string withoutBlanksAround(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    return begin == std::string::npos ? "" : std::string(trimmed(text.substr(begin)));
}

/// The value of "KEY = VALUE"; empty without such a line.
std::string settingIn(const fs::path& file, const std::string& key) {
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t equals = line.find('=');
        if (equals != std::string::npos && withoutBlanksAround(line.substr(0, equals)) == key) {
            return withoutBlanksAround(line.substr(equals + 1));
        }
    }
    return {};
}

void addTokens(const Configuration& configuration, const fs::path& file, Findings& findings) {
    const std::string set = settingIn(file, configuration.tokensKey);
    const std::string tokens = set.empty() ? configuration.tokens : set;
    std::error_code error;
    [[maybe_unused]] const fs::directory_iterator look(pathOf(tokens), error);
    if (error) {
        findings.push_back(
            {Level::Warning, "the folder of the tokens, " + tokens + ", cannot be read", configuration.remedy});
    }
}

void addConfiguration(const Configuration& configuration, Findings& findings) {
    const std::vector<fs::path> places = placesOf(configuration);
    const auto file = std::find_if(places.begin(), places.end(), mayBeThere);
    if (file == places.end()) {
        std::vector<std::string> names;
        std::transform(places.begin(), places.end(), std::back_inserter(names), utf8Of);
        findings.push_back(
            {Level::Warning, "the module's configuration was not found: " + joined(names), configuration.remedy});
    } else if (!canRead(*file)) {
        findings.push_back(
            {Level::Warning, "the module's configuration " + utf8Of(*file) + " cannot be read", configuration.remedy});
    } else if (*configuration.tokensKey != '\0') {
        addTokens(configuration, *file, findings);
    }
}

/// The file, and what it is a link to, one after the other.
std::vector<fs::path> linksFrom(const fs::path& file) {
    constexpr std::size_t kMostLinks = 40; // as many as the system follows
    std::vector<fs::path> all = {file};
    std::error_code error;
    while (all.size() <= kMostLinks && fs::is_symlink(all.back(), error)) {
        const fs::path target = fs::read_symlink(all.back(), error);
        if (error) {
            break;
        }
        all.push_back(all.back().parent_path() / target); // an absolute target stands alone
    }
    return all;
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
        std::set<std::string> folders; // whoever changes one of them puts another file or link there
        const std::vector<fs::path> links = linksFrom(path);
        for (const fs::path& link : links) {
            folders.insert(utf8Of(fs::weakly_canonical(link.parent_path(), ignored)));
        }
        addRights(utf8Of(links.back()), "the module's file", findings);
        for (const std::string& folder : folders) {
            addRights(folder, "the module's folder", findings);
        }
    }
    const std::string name = utf8Of(path.filename());
    for (const Configuration& configuration : kConfigurations) {
        if (name.find(configuration.module) != std::string::npos) {
            addConfiguration(configuration, findings);
        }
    }
}

} // namespace host
