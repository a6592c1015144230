#include "host/view/Dependencies.h"

#include <filesystem>
#include <optional>
#include <set>

#include "host/plugin/Paths.h"
#include "host/plugin/Texts.h"
#include "host/view/LibraryHeader.h"
#include "platform/DynamicLibrary.h"

namespace host {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostFiles = 256;

/// The file that a library's own folders have under this name: beside it, or where it says itself.
std::optional<std::string> ownFile(const fs::path& folder, const LibraryHeader& header, const std::string& name) {
    std::vector<fs::path> places = {folder};
    for (const std::string& searched : header.searched) {
        constexpr std::string_view kOrigin = "$ORIGIN";
        const std::size_t at = searched.find(kOrigin);
        places.push_back(at == std::string::npos
                             ? pathOf(searched)
                             : pathOf(std::string(searched).replace(at, kOrigin.size(), utf8Of(folder))));
    }
    std::error_code ignored;
    for (const fs::path& place : places) {
        if (fs::is_regular_file(place / pathOf(name), ignored)) {
            return utf8Of(place / pathOf(name));
        }
    }
    return std::nullopt;
}

class Search {
public:
    void look(const std::string& file) {
        const std::optional<LibraryHeader> header = libraryHeaderOf(file);
        if (!header || m_seen.size() >= kMostFiles || !m_seen.insert(file).second) {
            return;
        }
        for (const std::string& name : header->needed) {
            lookFor(file, *header, name);
        }
    }

    std::vector<MissingLibrary> missing;

private:
    void lookFor(const std::string& file, const LibraryHeader& header, const std::string& name) {
        if (name.empty() || platform::DynamicLibrary::load(toTString(name).c_str()).isLoaded()) {
            return;
        }
        MissingLibrary library{name, file, platform::DynamicLibrary::lastError()};
        const std::optional<std::string> own = ownFile(pathOf(file).parent_path(), header, name);
        if (own && platform::DynamicLibrary::load(toTString(*own).c_str()).isLoaded()) {
            return;
        }
        if (!own) {
            missing.push_back(std::move(library));
            return;
        }
        // It is there and does not load: what it needs itself says why, if anything does.
        library.reason = platform::DynamicLibrary::lastError();
        const std::size_t before = missing.size();
        look(*own);
        if (missing.size() == before) {
            missing.push_back(std::move(library));
        }
    }

    std::set<std::string> m_seen;
};

} // namespace

std::vector<MissingLibrary> missingLibraries(const std::string& file) {
    Search search;
    search.look(file);
    return std::move(search.missing);
}

} // namespace host
