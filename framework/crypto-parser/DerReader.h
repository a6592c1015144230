#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace Ry {

using Bytes = std::span<const std::uint8_t>;

/// The whole first byte of an element: class, constructed bit and number. High tag numbers do not occur here.
enum class DerTag : std::uint8_t {
    Integer = 0x02,
    OctetString = 0x04,
    Null = 0x05,
    ObjectIdentifier = 0x06,
    Sequence = 0x30,
    Context1Primitive = 0x81,
    Context0 = 0xA0,
};

/// Reads a sequence of DER elements. Every access is bounds checked; results point into the given bytes. After a failed
/// read the reader must not be used any more.
class DerReader {
public:
    explicit DerReader(Bytes bytes) noexcept : m_rest(bytes) {}

    [[nodiscard]] bool isAtEnd() const noexcept { return m_rest.empty(); }
    /// Returns true when another element follows and has this tag.
    [[nodiscard]] bool isNext(DerTag tag) const noexcept;

    /// The content of the next element. nullopt when there is no element, when it has another tag, when its length is
    /// indefinite or not in its shortest form, or when the element is truncated.
    [[nodiscard]] std::optional<Bytes> read(DerTag tag) noexcept;

    /// The next element, a non-negative INTEGER, as big-endian bytes without sign byte; zero is one byte. nullopt when
    /// it is negative or not in its shortest form.
    [[nodiscard]] std::optional<Bytes> readUnsigned() noexcept;

private:
    [[nodiscard]] std::optional<std::uint8_t> takeByte() noexcept;
    [[nodiscard]] std::optional<std::size_t> takeLength() noexcept;

    Bytes m_rest;
};

} // namespace Ry
