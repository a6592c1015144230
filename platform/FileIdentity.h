#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

/// The file behind an open descriptor. A library in the same process may close descriptors that it does not own, as
/// daemons do; its next file then gets the number, and our output would go there. On Windows libraries do not do this,
/// and `isStill` is always true.
class FileIdentity {
public:
    FileIdentity() noexcept = default;
    explicit FileIdentity(std::ptrdiff_t descriptor) noexcept;

    /// Returns true when the descriptor still refers to the file that it referred to when this object was made.
    [[nodiscard]] bool isStill(std::ptrdiff_t descriptor) const noexcept;

private:
    [[maybe_unused]] std::uint64_t m_device = 0; // Windows uses none of the three
    [[maybe_unused]] std::uint64_t m_file = 0;
    [[maybe_unused]] bool m_known = false;
};

} // namespace platform
