#include "platform/ExecutableMemory.h"

#include <algorithm>

namespace platform {

bool ExecutableMemory::contains(std::uintptr_t address) const noexcept {
    return m_ranges.empty() || std::any_of(m_ranges.begin(), m_ranges.end(), [address](const Range& range) {
               return range.begin <= address && address < range.end;
           });
}

} // namespace platform
