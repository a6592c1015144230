#pragma once

#include <cstdint>
#include <vector>

namespace platform {

/// Where this process has code now, for a look at addresses that somebody else gives.
///
///     const ExecutableMemory memory = ExecutableMemory::now();
///     if (!memory.contains(address)) { ... a call of it would end the process ... }
class ExecutableMemory {
public:
    [[nodiscard]] static ExecutableMemory now();

    /// Also true for every address when the system does not tell.
    [[nodiscard]] bool contains(std::uintptr_t address) const noexcept;

private:
    struct Range {
        std::uintptr_t begin;
        std::uintptr_t end;
    };
    std::vector<Range> m_ranges; ///< empty: the system does not tell
};

} // namespace platform
