#include "host/cli/card/ReportFolder.h"

#include <filesystem>

#include "host/plugin/Errors.h"
#include "host/plugin/Paths.h"
#include "platform/AppendedFile.h"
#include "platform/FileRights.h"

namespace host {

namespace {

namespace fs = std::filesystem;

} // namespace

ReportFolder::ReportFolder(const std::string& path) {
    std::error_code error;
    m_path = utf8Of(fs::absolute(pathOf(path), error));
    if (!fs::exists(fs::symlink_status(pathOf(m_path), error))) {
        if (!platform::makePrivateFolder(m_path)) {
            throw UsageError("--out: the folder \"" + path + "\" cannot be made; name one below a folder of your own");
        }
        return;
    }
    if (!fs::is_directory(pathOf(m_path), error)) {
        throw UsageError("--out: \"" + path + "\" is no folder");
    }
    for (const char* const name : {"report.json", "report.txt", "record.jsonl"}) {
        if (fs::exists(fs::symlink_status(pathOf(m_path) / name, error))) {
            throw UsageError("--out: there is a file \"" + path + "/" + name + "\" already; name another folder");
        }
    }
}

void ReportFolder::write(const std::string& json, const std::string& text) const {
    write("report.json", json);
    write("report.txt", text);
}

void ReportFolder::write(const char* name, const std::string& content) const {
    const std::string path = m_path + "/" + name;
    const std::string next = path + ".new";
    std::error_code error;
    fs::remove(pathOf(next), error);
    platform::AppendedFile file;
    const bool isWritten = file.open(next.c_str()) && file.append(content.data(), content.size()) == content.size();
    file.close();
    if (isWritten) {
        fs::rename(pathOf(next), pathOf(path), error);
    }
    if (!isWritten || error) {
        fs::remove(pathOf(next), error);
        throw UsageError("--out: the file \"" + path + "\" cannot be written");
    }
}

} // namespace host
