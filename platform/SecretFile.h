#pragma once

#include <string>
#include <string_view>

namespace platform {

/// A secret as a file that a library can open by its name: in memory, never on a disk, and for no other user. The
/// programs that this process starts do not inherit it. Linux only.
///
///     const SecretFile file(line);
///     if (file.isMade()) open(file.path());
class SecretFile {
public:
    explicit SecretFile(std::string_view bytes);
    SecretFile(const SecretFile&) = delete;
    SecretFile& operator=(const SecretFile&) = delete;
    /// Overwrites the bytes.
    ~SecretFile();

    [[nodiscard]] bool isMade() const noexcept { return m_descriptor >= 0; }
    [[nodiscard]] std::string path() const;

private:
    int m_descriptor = -1;
    [[maybe_unused]] std::size_t m_size = 0;
};

} // namespace platform
