#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "platform/DynamicLibrary.h"

// The two libraries that the build makes for these tests (one with version information, one without), and files in a
// folder that goes with the test.

inline constexpr bool kIsWindows = sizeof(wchar_t) == 2;

inline std::wstring versionedLibrary() {
    return std::filesystem::path(VERSIONED_LIBRARY).wstring();
}

inline std::wstring plainLibrary() {
    return std::filesystem::path(PLAIN_LIBRARY).wstring();
}

/// What the system calls the module: its handle on Windows, an address inside it on Linux.
inline void* moduleOf(const platform::DynamicLibrary& library) {
    return kIsWindows ? library.handle() : library.symbol("fixtureAnswer");
}

class TemporaryFolder {
public:
    TemporaryFolder() {
        m_path = std::filesystem::temp_directory_path() /
                 ("zel-test-" + std::to_string(std::random_device()()) + "-" + std::to_string(std::random_device()()));
        std::filesystem::create_directory(m_path);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    [[nodiscard]] const std::filesystem::path& path() const { return m_path; }

    std::filesystem::path write(const std::string& name, const std::string& contents) const {
        std::ofstream(m_path / name, std::ios::binary) << contents;
        return m_path / name;
    }

private:
    std::filesystem::path m_path;
};

inline std::string utf8NameOf(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

inline std::string contentsOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}
