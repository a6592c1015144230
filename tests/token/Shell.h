#pragma once

#include <string>

namespace Token {

/// What a program wrote to its two output streams, and its exit status.
struct Outcome {
    int status;
    std::string output;
};

/// Runs a command line of the shell in `folder`.
[[nodiscard]] Outcome shell(const std::string& folder, const std::string& command);

/// A folder of its own for one test, gone with all that is in it when the object goes.
class Folder {
public:
    Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder();

    [[nodiscard]] const std::string& path() const { return m_path; }
    void write(const std::string& name, const std::string& content) const;
    /// Empty when there is no such file.
    [[nodiscard]] std::string read(const std::string& name) const;
    /// As `shell`; a command that does not end with status 0 fails the test. Returns what it wrote.
    std::string run(const std::string& command) const;

private:
    std::string m_path;
};

} // namespace Token
