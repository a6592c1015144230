#pragma once

#include <cstdint>
#include <unordered_map>

#include "cryptoki/cryptoki.h"

namespace watch {

/// The handles that the program gets in place of the recorded ones, which may be wider than this system's.
class Handles {
public:
    /// The program's handle for a recorded one; a new one with its first use.
    [[nodiscard]] CK_ULONG handOut(std::uint64_t recorded) {
        return recorded == 0
                   ? 0
                   : m_handles.try_emplace(recorded, static_cast<CK_ULONG>(m_handles.size() + 1)).first->second;
    }
    /// A handle that was never handed out means itself.
    [[nodiscard]] bool isSame(std::uint64_t recorded, CK_ULONG handle) const {
        const auto found = m_handles.find(recorded);
        if (recorded == 0 || handle == 0) {
            return recorded == handle;
        }
        return found == m_handles.end() ? handle > m_handles.size() && handle == recorded : found->second == handle;
    }

private:
    std::unordered_map<std::uint64_t, CK_ULONG> m_handles;
};

} // namespace watch
