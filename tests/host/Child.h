#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tests {

using Words = std::vector<std::string>;
using Environment = std::map<std::string, std::string>;

/// A program that runs, with pipes on its standard input and output and a file on its standard error. Ended hard when
/// the object goes before it has ended by itself.
class Child {
public:
    /// On Windows a program can be interrupted only through a console, and one of its own keeps that from others.
    enum class Console { Ours, Own };

    /// `arguments` begin with the program's file. `environment` is added to this process's own.
    explicit Child(const Words& arguments, const Environment& environment = {}, Console console = Console::Ours);
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child();

    void write(const std::string& text);
    void closeInput();
    /// One line without its line end; empty at the end.
    [[nodiscard]] std::string readLine();
    [[nodiscard]] std::string readAll();
    /// Sends it the signal; on Windows, where it must have a console of its own, Ctrl-C for SIGINT and Ctrl-Break for
    /// any other number. Returns false when nothing can be sent.
    bool interrupt(int signal);
    /// From now on nobody reads what the program prints.
    void closeOutput();
    /// Closes the input, waits for the end and returns the exit status; -1 when a signal ended it.
    [[nodiscard]] int wait();
    /// The system's number of the process; before wait.
    [[nodiscard]] long process() const;
    /// What it wrote to standard error; after wait.
    [[nodiscard]] std::string errors() const;

private:
    struct System;
    std::unique_ptr<System> m_system;
};

/// What a program printed and how it ended.
struct Outcome {
    int status;
    std::string output;
    std::string errors;
};

[[nodiscard]] Outcome run(const Words& arguments, const std::string& input = "", const Environment& environment = {});

/// The words of a command, and more behind them.
[[nodiscard]] Words with(Words words, const Words& more);

/// All that a file holds; empty when it cannot be read.
[[nodiscard]] std::string contentOf(const std::filesystem::path& file);

/// A file of this run in the current folder, with this content; removed when the object goes.
class File {
public:
    explicit File(const std::string& content, const std::string& name = "");
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File();

    [[nodiscard]] const std::string& path() const { return m_path; }
    [[nodiscard]] std::string content() const;
    void append(const std::string& text) const;

private:
    std::string m_path;
};

/// Waits until the file contains the text. Returns false when it does not come within a minute.
[[nodiscard]] bool waitFor(const File& file, const std::string& text);

/// A file in the test program's folder, where the programs and libraries under test stand.
[[nodiscard]] std::string beside(const std::string& name);
[[nodiscard]] std::string hostProgram();
[[nodiscard]] std::string doublePlugin();

} // namespace tests
