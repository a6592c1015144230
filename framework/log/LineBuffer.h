#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "platform/SecureZero.h"

namespace Ry::log {

/// Bytes that grow: on the stack first, on the heap when that is too small. They are overwritten before they go, for a
/// trace may tell values that are to stay nowhere else. Without memory it becomes failed and takes nothing more;
/// nothing throws.
class LineBuffer {
public:
    LineBuffer() noexcept = default;
    LineBuffer(const LineBuffer&) = delete;
    LineBuffer& operator=(const LineBuffer&) = delete;
    ~LineBuffer() { dispose(); }

    /// Room for `length` bytes more; null without memory. `commit` says how many of them were used.
    [[nodiscard]] char* reserve(std::size_t length) noexcept {
        return length <= m_capacity - m_length || grow(length) ? m_pBytes + m_length : nullptr;
    }
    void commit(std::size_t length) noexcept { m_length += length; }

    void append(const char* bytes, std::size_t length) noexcept {
        if (char* const place = reserve(length); place != nullptr) {
            std::memcpy(place, bytes, length);
            m_length += length;
        }
    }
    void append(const char* text) noexcept { append(text, std::strlen(text)); }
    void append(char character) noexcept { append(&character, 1); }

    [[nodiscard]] const char* data() const noexcept { return m_pBytes; }
    [[nodiscard]] std::size_t length() const noexcept { return m_length; }
    [[nodiscard]] bool hasFailed() const noexcept { return m_hasFailed; }

private:
    bool grow(std::size_t length) noexcept {
        const std::size_t capacity = 2 * m_capacity + length;
        char* const bytes = m_hasFailed || capacity < length ? nullptr : static_cast<char*>(std::malloc(capacity));
        if (bytes == nullptr) {
            m_hasFailed = true;
            return false;
        }
        std::memcpy(bytes, m_pBytes, m_length);
        dispose();
        m_pBytes = bytes;
        m_capacity = capacity;
        return true;
    }
    void dispose() noexcept {
        platform::secureZero(m_pBytes, m_length);
        if (m_pBytes != m_inline) {
            std::free(m_pBytes);
        }
    }

    char m_inline[2048];
    char* m_pBytes = m_inline;
    std::size_t m_length = 0;
    std::size_t m_capacity = sizeof(m_inline);
    bool m_hasFailed = false;
};

} // namespace Ry::log
