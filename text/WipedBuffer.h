#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <new>
#include <string_view>

#include "text/SecureZero.h"

namespace text {

/// A growing row of characters, inside the object first and on the heap when that is too small. The characters are
/// overwritten with zeros before their memory is freed. When memory is short, the buffer has failed and takes nothing
/// more; nothing throws.
///
///     text::WipedBuffer<char, 256> line;
///     line.append("PIN ");
///     line.append('1');
///     if (!line.hasFailed()) { use(line.view()); }
template <class Character, std::size_t kInlineRoom>
class WipedBuffer {
public:
    using View = std::basic_string_view<Character>;

    WipedBuffer() noexcept = default;
    WipedBuffer(const WipedBuffer&) = delete;
    WipedBuffer& operator=(const WipedBuffer&) = delete;
    ~WipedBuffer() { dispose(); }

    /// Room for `length` more characters; null when memory is short. Call commit with the end of what was written.
    [[nodiscard]] Character* reserve(std::size_t length) noexcept {
        return length <= m_capacity - m_length || grow(length) ? m_pData + m_length : nullptr;
    }
    void commit(const Character* end) noexcept { m_length = static_cast<std::size_t>(end - m_pData); }

    void append(View text) noexcept {
        if (Character* const place = reserve(text.size()); place != nullptr) {
            commit(std::copy(text.begin(), text.end(), place));
        }
    }
    void append(Character character) noexcept { append(View(&character, 1)); }
    /// Empties the buffer and keeps its room.
    void clear() noexcept {
        secureZero(m_pData, m_length * sizeof(Character));
        m_length = 0;
    }

    [[nodiscard]] const Character* data() const noexcept { return m_pData; }
    [[nodiscard]] std::size_t length() const noexcept { return m_length; }
    [[nodiscard]] View view() const noexcept { return {m_pData, m_length}; }
    [[nodiscard]] bool hasFailed() const noexcept { return m_hasFailed; }

private:
    bool grow(std::size_t more) noexcept {
        constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max() / sizeof(Character) / 4;
        const std::size_t capacity = std::max(2 * m_capacity, m_length + more);
        auto* const grown = m_hasFailed || more > kMost ? nullptr : new (std::nothrow) Character[capacity];
        if (grown == nullptr) {
            m_hasFailed = true;
            return false;
        }
        std::copy_n(m_pData, m_length, grown);
        dispose();
        m_pData = grown;
        m_capacity = capacity;
        return true;
    }
    void dispose() noexcept {
        secureZero(m_pData, m_length * sizeof(Character));
        if (m_pData != m_room) {
            delete[] m_pData;
        }
    }

    Character m_room[kInlineRoom];
    Character* m_pData = m_room;
    std::size_t m_length = 0;
    std::size_t m_capacity = kInlineRoom;
    bool m_hasFailed = false;
};

} // namespace text
