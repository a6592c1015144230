#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Fake {

/// Bytes that do not stand in memory as they are: a test that scans memory for secrets must find the plug-in's copies,
/// not the ones that a token keeps by right.
class Masked {
public:
    Masked() = default;
    explicit Masked(std::string_view bytes) { assign(bytes); }

    void assign(std::string_view bytes) {
        m_bytes.resize(bytes.size());
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            m_bytes[i] = mask(bytes[i]);
        }
    }
    [[nodiscard]] std::size_t size() const { return m_bytes.size(); }
    [[nodiscard]] bool equals(std::string_view bytes) const {
        if (bytes.size() != m_bytes.size()) {
            return false;
        }
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            if (m_bytes[i] != mask(bytes[i])) {
                return false;
            }
        }
        return true;
    }
    /// Writes all bytes to `target`, which has room for size().
    void copyTo(void* target) const {
        for (std::size_t i = 0; i < m_bytes.size(); ++i) {
            static_cast<char*>(target)[i] = mask(m_bytes[i]);
        }
    }
    [[nodiscard]] std::string plain() const {
        std::string bytes(m_bytes.size(), '\0');
        copyTo(bytes.data());
        return bytes;
    }

private:
    static char mask(char byte) { return static_cast<char>(byte ^ 0x5A); }

    std::string m_bytes;
};

} // namespace Fake
