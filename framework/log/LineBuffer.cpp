#include "framework/log/LineBuffer.h"

#include <cstdlib>

#include "platform/SecureZero.h"

namespace Ry::log {

bool LineBuffer::grow(std::size_t more) noexcept {
    const std::size_t used = length();
    const std::size_t capacity = 2 * static_cast<std::size_t>(m_pEnd - m_pBytes) + more;
    char* const bytes = m_hasFailed || capacity < more ? nullptr : static_cast<char*>(std::malloc(capacity));
    if (bytes == nullptr) {
        m_hasFailed = true;
        return false;
    }
    std::memcpy(bytes, m_pBytes, used);
    dispose();
    m_pBytes = bytes;
    m_pNext = bytes + used;
    m_pEnd = bytes + capacity;
    return true;
}

void LineBuffer::dispose() noexcept {
    platform::secureZero(m_pBytes, length());
    if (m_pBytes != m_inline) {
        std::free(m_pBytes);
    }
}

} // namespace Ry::log
