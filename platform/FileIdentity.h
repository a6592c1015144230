#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

/// What an open descriptor stands for. A library in the same process may close a descriptor that is not its own, as
/// daemons close all of them; its next file then gets the number, and what we write would land there. On Windows, where
/// no library closes handles that it was not given, every handle is taken for what it was.
class FileIdentity {
public:
    FileIdentity() noexcept = default;
    explicit FileIdentity(std::ptrdiff_t descriptor) noexcept;

    /// Returns true when the descriptor still stands for what it stood for when this object was made.
    [[nodiscard]] bool isStill(std::ptrdiff_t descriptor) const noexcept;

private:
    [[maybe_unused]] std::uint64_t m_device = 0; // none of the three on Windows
    [[maybe_unused]] std::uint64_t m_file = 0;
    [[maybe_unused]] bool m_known = false;
};

} // namespace platform
