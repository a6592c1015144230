#pragma once

#include <string>

namespace host {

/// The folder of a report to send to support. On Linux nobody else can read what is in it.
class ReportFolder {
public:
    /// Makes the folder with this UTF-8 name, or takes one that has none of the report's files. UsageError otherwise.
    explicit ReportFolder(const std::string& path);

    /// The file for the record of the module's calls.
    [[nodiscard]] std::string record() const { return m_path + "/record.jsonl"; }
    /// Writes "report.json" and "report.txt", or replaces those that were written before. UsageError when they cannot
    /// be written; each is then as it was.
    void write(const std::string& json, const std::string& text) const;

private:
    void write(const char* name, const std::string& content) const;

    std::string m_path; ///< full
};

} // namespace host
