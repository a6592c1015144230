#pragma once

#include <string>

namespace Token {

/// What a program wrote to its two output streams, and its exit status.
struct Outcome {
    int status;
    std::string output;
};

/// Runs a command line of the POSIX shell in `folder`, a Windows program (under Wine) too: the programs that look at
/// the token are those of the system below.
[[nodiscard]] Outcome shell(const std::string& folder, const std::string& command);

/// Sets a variable of the environment, for this process and for what `shell` runs.
void setVariable(const std::string& name, const std::string& value);

/// Makes a folder that nobody else has and returns its path, which `shell` understands as well.
[[nodiscard]] std::string makeTemporaryFolder();

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
