#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace Ry {

using Bytes = std::span<const std::uint8_t>;

/// The first byte of an element, whole: class, constructed bit and number. High tag numbers do not occur here.
enum class DerTag : std::uint8_t {
    Integer = 0x02,
    OctetString = 0x04,
    Null = 0x05,
    ObjectIdentifier = 0x06,
    Sequence = 0x30,
    Context1Primitive = 0x81,
    Context0 = 0xA0,
};

/// Walks over a row of DER elements. Everything is bounds checked; what it hands out points into the bytes it was
/// given. After a failed read the reader is good for nothing.
class DerReader {
public:
    explicit DerReader(Bytes bytes) noexcept : m_rest(bytes) {}

    [[nodiscard]] bool isAtEnd() const noexcept { return m_rest.empty(); }
    /// Whether another element follows, and has this tag.
    [[nodiscard]] bool isNext(DerTag tag) const noexcept;

    /// The content of the next element. Nothing when there is none, when it has another tag, when its length is
    /// indefinite or not written in the shortest form, or when it is cut off.
    [[nodiscard]] std::optional<Bytes> read(DerTag tag) noexcept;

    /// The next element, a non-negative INTEGER, as big-endian bytes without sign byte; zero is one byte. Nothing when
    /// it is negative or longer than it has to be.
    [[nodiscard]] std::optional<Bytes> readUnsigned() noexcept;

private:
    [[nodiscard]] std::optional<std::uint8_t> takeByte() noexcept;
    [[nodiscard]] std::optional<std::size_t> takeLength() noexcept;

    Bytes m_rest;
};

} // namespace Ry
