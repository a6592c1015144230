#include "text/SecretBuffer.h"

#include <algorithm>
#include <new>

SecretBuffer::SecretBuffer(std::size_t size) {
    if (size >= m_bytes.max_size()) {
        throw std::bad_alloc();
    }
    m_bytes.resize(size + 1);
}

SecretBuffer SecretBuffer::copyOf(std::span<const std::uint8_t> bytes) {
    SecretBuffer copy(bytes.size());
    std::copy(bytes.begin(), bytes.end(), copy.data());
    return copy;
}

SecretBuffer SecretBuffer::tryAllocate(std::size_t size) noexcept {
    if (size > kLargestTry) {
        return {};
    }
    try {
        return SecretBuffer(size);
    } catch (const std::bad_alloc&) {
        return {};
    }
}

std::size_t SecretBuffer::textLength() const noexcept {
    return static_cast<std::size_t>(std::find(data(), data() + size(), 0) - data());
}

void SecretBuffer::truncate(std::size_t size) noexcept {
    if (size < this->size()) {
        text::secureZero(data() + size, this->size() - size);
        m_bytes.resize(size + 1);
    }
}
