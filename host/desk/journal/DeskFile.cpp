#include "host/desk/journal/DeskFile.h"

#include <array>
#include <fstream>
#include <string>

#include "host/plugin/Errors.h"
#include "host/plugin/Paths.h"
#include "host/plugin/Texts.h"

namespace host::desk {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLogHeader = 32;

std::string shown(const fs::path& path) {
    return "\"" + printable(utf8Of(path)) + "\"";
}

/// Returns true when a station has held its name here, which it does as soon as there is a desk.
bool hasStations(const fs::path& desk) {
    std::error_code ignored;
    const fs::path file = fs::weakly_canonical(desk, ignored);
    const std::u8string begin = file.filename().u8string() + u8".";
    const fs::path folder = file.parent_path();
    for (const auto& entry : fs::directory_iterator(folder, ignored)) {
        const std::u8string name = entry.path().filename().u8string();
        if (name.compare(0, begin.size(), begin) == 0 && entry.path().extension() == ".lock") {
            return true;
        }
    }
    return false;
}

/// Returns true for a log that begins as SQLite begins one, and for one that is too short to hold anything.
bool isLog(const fs::path& log) {
    std::array<unsigned char, kLogHeader> header{};
    std::ifstream stream(log, std::ios::binary);
    stream.read(reinterpret_cast<char*>(header.data()), header.size());
    const bool isBegun = header[0] == 0x37 && header[1] == 0x7F && header[2] == 0x06 && (header[3] & 0xFEU) == 0x82;
    return stream.gcount() < static_cast<std::streamsize>(header.size()) || isBegun;
}

} // namespace

fs::path besideDesk(const fs::path& file, const char* suffix) {
    fs::path path = file;
    path += suffix;
    return path;
}

void checkDeskFile(const fs::path& file, IfMissing ifMissing) {
    std::error_code ignored;
    if (fs::is_directory(file, ignored)) {
        throw UsageError("--desk: " + shown(file) + " is a folder; name a file in it");
    }
    const bool isEmpty = fs::is_regular_file(file, ignored) && fs::file_size(file, ignored) == 0;
    if (isEmpty && hasStations(file)) {
        throw UsageError("--desk: the file " + shown(file) +
                         " is empty, and stations have worked with it: put a copy of it back, or the cards that it "
                         "knew are issued twice; for a new desk, remove the file");
    }
    if (isEmpty && ifMissing != IfMissing::Make) {
        throw UsageError("--desk: the file " + shown(file) + " is empty and holds no desk");
    }
    if (!isLog(besideDesk(file, "-wal"))) {
        throw UsageError("--desk: the file " + shown(besideDesk(file, "-wal")) +
                         " is damaged, which holds the desk's last steps; it was left as it is. Put a copy of both "
                         "files back");
    }
}

} // namespace host::desk
