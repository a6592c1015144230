#include "text/SecretBuffer.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "platform/SecureZero.h"

SecretBuffer::SecretBuffer(std::size_t size) : SecretBuffer(unfilled(size)) {
    std::memset(m_pBytes, 0, size);
}

SecretBuffer SecretBuffer::unfilled(std::size_t size) {
    if (size == std::numeric_limits<std::size_t>::max()) {
        throw std::bad_alloc();
    }
    SecretBuffer buffer;
    buffer.m_pBytes = static_cast<std::uint8_t*>(::operator new(size + 1));
    buffer.m_size = size;
    buffer.m_capacity = size + 1;
    buffer.m_pBytes[size] = 0;
    return buffer;
}

SecretBuffer::SecretBuffer(SecretBuffer&& other) noexcept
    : m_pBytes(std::exchange(other.m_pBytes, nullptr)), m_size(std::exchange(other.m_size, 0)),
      m_capacity(std::exchange(other.m_capacity, 0)) {}

SecretBuffer& SecretBuffer::operator=(SecretBuffer&& other) noexcept {
    if (this != &other) {
        clear();
        m_pBytes = std::exchange(other.m_pBytes, nullptr);
        m_size = std::exchange(other.m_size, 0);
        m_capacity = std::exchange(other.m_capacity, 0);
    }
    return *this;
}

SecretBuffer SecretBuffer::copyOf(std::span<const std::uint8_t> bytes) {
    SecretBuffer copy = unfilled(bytes.size());
    std::copy(bytes.begin(), bytes.end(), copy.m_pBytes);
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
    return static_cast<std::size_t>(std::find(m_pBytes, m_pBytes + m_size, 0) - m_pBytes);
}

void SecretBuffer::truncate(std::size_t size) noexcept {
    if (size < m_size) {
        platform::secureZero(m_pBytes + size, m_size - size);
        m_size = size;
    }
}

void SecretBuffer::clear() noexcept {
    if (isNull()) {
        return;
    }
    platform::secureZero(m_pBytes, m_capacity);
    ::operator delete(m_pBytes);
    m_pBytes = nullptr;
    m_size = 0;
    m_capacity = 0;
}
