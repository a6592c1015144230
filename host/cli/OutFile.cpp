#include "host/cli/OutFile.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "host/plugin/Errors.h"
#include "host/plugin/Paths.h"

namespace host {

namespace {

namespace fs = std::filesystem;

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

/// The system's reason in English, whatever numbers it counts its errors with.
std::string reasonOf(const std::error_code& error) {
    return error.default_error_condition().message();
}

std::error_code writeTo(const fs::path& path, const std::string& bytes) {
    errno = 0;
    std::ofstream stream(path, std::ios::binary);
    stream << bytes << std::flush;
    return stream.good() ? std::error_code() : std::error_code(errno == 0 ? EIO : errno, std::generic_category());
}

/// Makes a new folder of our own on the file's disk, in which nobody else can have placed a link.
std::error_code makeFolderBeside(const fs::path& file, fs::path& folder) {
    constexpr int kMostTries = 100;
    std::error_code error;
    for (int i = 0; i < kMostTries && !error; ++i) {
        folder = file;
        folder += ".new" + std::to_string(i);
        if (fs::create_directory(folder, error)) {
            fs::permissions(folder, fs::perms::owner_all, error);
            return {};
        }
    }
    return error ? error : std::make_error_code(std::errc::file_exists);
}

/// Puts a regular file, or a new one, in place at once.
std::error_code replace(const fs::path& path, const std::string& bytes) {
    fs::path folder;
    std::error_code error = makeFolderBeside(path, folder);
    if (error) {
        return error;
    }
    const fs::path written = folder / "result";
    error = writeTo(written, bytes);
    if (!error) {
        fs::permissions(written, fs::perms::owner_read | fs::perms::owner_write, error);
        fs::rename(written, path, error);
    }
    std::error_code ignored;
    fs::remove_all(folder, ignored);
    return error;
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

std::optional<std::string> replaceFile(const std::string& file, const std::string& bytes) {
    std::error_code error;
    fs::path path = pathOf(file);
    const fs::file_type type = fs::status(path, error).type();
    if (type != fs::file_type::not_found && type != fs::file_type::regular) {
        error = writeTo(path, bytes);
    } else {
        error.clear();
        path = type == fs::file_type::regular ? fs::canonical(path, error) : path; // a link goes on naming the file
        error = error ? error : replace(path, bytes);
    }
    return error ? std::optional(reasonOf(error)) : std::nullopt;
}

} // namespace host
