#include "host/cli/OutFile.h"

#include <filesystem>
#include <fstream>
#include <optional>

#include "host/plugin/Errors.h"

namespace host {

namespace {

namespace fs = std::filesystem;

fs::path pathOf(const std::string& utf8) {
    return std::u8string(utf8.begin(), utf8.end());
}

/// Opens the file without changing what is in it, and removes it when it was not there before. What is no file (a pipe,
/// a device, a folder) is left alone: opening it might have an effect.
bool canBeWritten(const fs::path& path) {
    std::error_code error;
    const fs::file_type type = fs::symlink_status(path, error).type();
    const bool isNew = type == fs::file_type::not_found;
    if (!isNew && !fs::is_regular_file(path, error)) {
        return true;
    }
    const bool isOpen = std::ofstream(path, std::ios::binary | std::ios::app).is_open();
    if (isNew && isOpen) {
        fs::remove(path, error);
    }
    return isOpen;
}

bool writeTo(const fs::path& path, const std::string& bytes) {
    std::ofstream stream(path, std::ios::binary);
    stream << bytes << std::flush;
    return stream.good();
}

/// A new folder of our own on the file's disk, in which nobody else can have placed a link.
std::optional<fs::path> folderBeside(const fs::path& file) {
    constexpr int kMostTries = 100;
    for (int i = 0; i < kMostTries; ++i) {
        fs::path folder = file;
        folder += ".new" + std::to_string(i);
        std::error_code error;
        if (fs::create_directory(folder, error)) {
            fs::permissions(folder, fs::perms::owner_all, error);
            return folder;
        }
    }
    return std::nullopt;
}

} // namespace

void checkOutFile(const std::string& file, const std::vector<std::string>& inputs) {
    for (const std::string& input : inputs) {
        std::error_code ignored;
        // The result must not replace a file that the command reads, such as the only copy of a key.
        if (fs::equivalent(pathOf(file), pathOf(input), ignored)) {
            throw UsageError("--out: the command reads the file \"" + file + "\"; name another one for the result");
        }
    }
    if (!canBeWritten(pathOf(file))) {
        throw UsageError("--out: the file \"" + file + "\" cannot be written; name one in a folder of your own");
    }
}

bool replaceFile(const std::string& file, const std::string& bytes) {
    std::error_code error;
    fs::path path = pathOf(file);
    const fs::file_type type = fs::status(path, error).type();
    if (type != fs::file_type::not_found && type != fs::file_type::regular) {
        return writeTo(path, bytes);
    }
    if (type == fs::file_type::regular) {
        path = fs::canonical(path, error); // a link goes on naming the file
    }
    const std::optional<fs::path> folder = folderBeside(path);
    if (!folder) {
        return false;
    }
    const fs::path written = *folder / "result";
    const bool isWritten = writeTo(written, bytes);
    if (isWritten) {
        fs::permissions(written, fs::perms::owner_read | fs::perms::owner_write, error);
        fs::rename(written, path, error);
    }
    const bool isDone = isWritten && !error;
    fs::remove_all(*folder, error);
    return isDone;
}

} // namespace host
