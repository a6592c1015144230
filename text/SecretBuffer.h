#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "text/Wiped.h"

/// Bytes that may be a secret (PIN, key component, decoded parameter value): move-only, unprintable, and overwritten
/// with zeros over their whole capacity before the memory is freed. A zero byte always follows the last byte. A
/// default-constructed buffer is null, which decoders return for undecodable text; a buffer of size 0 is not null.
class SecretBuffer {
public:
    /// The largest size that tryAllocate accepts, in bytes: far above any real attribute, far below what would exhaust
    /// memory.
    static constexpr std::size_t kLargestTry = std::size_t{64} << 20;

    SecretBuffer() noexcept = default;
    /// `size` zero bytes. Throws std::bad_alloc.
    explicit SecretBuffer(std::size_t size);
    SecretBuffer(const SecretBuffer&) = delete;
    SecretBuffer& operator=(const SecretBuffer&) = delete;
    SecretBuffer(SecretBuffer&& other) noexcept = default;
    SecretBuffer& operator=(SecretBuffer&& other) noexcept = default;
    ~SecretBuffer() = default;

    /// Never null. Throws std::bad_alloc.
    [[nodiscard]] static SecretBuffer copyOf(std::span<const std::uint8_t> bytes);
    /// As the constructor, but returns a null buffer when memory is short or `size` is above kLargestTry: for sizes
    /// that a module chose.
    [[nodiscard]] static SecretBuffer tryAllocate(std::size_t size) noexcept;

    [[nodiscard]] bool isNull() const noexcept { return m_bytes.empty(); }
    /// Null or without bytes.
    [[nodiscard]] bool isEmpty() const noexcept { return size() == 0; }
    /// Null for a null buffer.
    [[nodiscard]] std::uint8_t* data() noexcept { return isNull() ? nullptr : m_bytes.data(); }
    [[nodiscard]] const std::uint8_t* data() const noexcept { return isNull() ? nullptr : m_bytes.data(); }
    [[nodiscard]] std::size_t size() const noexcept { return isNull() ? 0 : m_bytes.size() - 1; }
    [[nodiscard]] std::span<const std::uint8_t> bytes() const noexcept { return {data(), size()}; }
    /// The number of bytes before the first zero byte.
    [[nodiscard]] std::size_t textLength() const noexcept;

    /// Shortens to `size` bytes and wipes the rest; a larger size changes nothing.
    void truncate(std::size_t size) noexcept;
    void clear() noexcept { m_bytes = Bytes(); }

private:
    using Bytes = std::vector<std::uint8_t, WipingAllocator<std::uint8_t>>;

    Bytes m_bytes; ///< with the zero byte; empty when null
};
