#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

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

    /// Room for `length` bytes more; null without memory. `commit` says up to where they were used.
    [[nodiscard]] char* reserve(std::size_t length) noexcept { return hasRoom(length) ? m_pNext : nullptr; }
    void commit(char* end) noexcept { m_pNext = end; }

    void append(std::string_view text) noexcept {
        if (hasRoom(text.size())) {
            std::memcpy(m_pNext, text.data(), text.size());
            m_pNext += text.size();
        }
    }
    void append(char character) noexcept { append(std::string_view(&character, 1)); }

    [[nodiscard]] const char* data() const noexcept { return m_pBytes; }
    [[nodiscard]] std::size_t length() const noexcept { return static_cast<std::size_t>(m_pNext - m_pBytes); }
    [[nodiscard]] bool hasFailed() const noexcept { return m_hasFailed; }

private:
    bool hasRoom(std::size_t more) noexcept { return more <= static_cast<std::size_t>(m_pEnd - m_pNext) || grow(more); }
    bool grow(std::size_t more) noexcept;
    void dispose() noexcept;

    char m_inline[2048];
    char* m_pBytes = m_inline;
    char* m_pNext = m_inline;
    char* m_pEnd = m_inline + sizeof(m_inline);
    bool m_hasFailed = false;
};

} // namespace Ry::log
