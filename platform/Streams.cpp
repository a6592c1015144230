#include "platform/Streams.h"

#include <utility>

namespace platform {

InputStream::InputStream(InputStream&& other) noexcept
    : m_descriptor(other.m_descriptor), m_owned(std::exchange(other.m_owned, false)) {}

InputStream& InputStream::operator=(InputStream&& other) noexcept {
    if (this != &other) {
        close();
        m_descriptor = other.m_descriptor;
        m_owned = std::exchange(other.m_owned, false);
    }
    return *this;
}

InputStream::~InputStream() {
    close();
}

} // namespace platform
