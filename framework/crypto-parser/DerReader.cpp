#include "framework/crypto-parser/DerReader.h"

namespace Ry {

namespace {

constexpr std::uint8_t kLongForm = 0x80;
constexpr std::uint8_t kSignBit = 0x80;
// No key needs longer lengths, and four bytes fit into every size_t.
constexpr std::size_t kMostLengthBytes = 4;

} // namespace

bool DerReader::isNext(DerTag tag) const noexcept {
    return !m_rest.empty() && m_rest.front() == static_cast<std::uint8_t>(tag);
}

std::optional<Bytes> DerReader::read(DerTag tag) noexcept {
    if (!isNext(tag)) {
        return std::nullopt;
    }
    m_rest = m_rest.subspan(1);
    const auto length = takeLength();
    if (!length || *length > m_rest.size()) {
        return std::nullopt;
    }
    const Bytes content = m_rest.first(*length);
    m_rest = m_rest.subspan(*length);
    return content;
}

std::optional<Bytes> DerReader::readUnsigned() noexcept {
    const auto content = read(DerTag::Integer);
    if (!content || content->empty() || (content->front() & kSignBit) != 0) {
        return std::nullopt;
    }
    if (content->front() != 0 || content->size() == 1) {
        return content;
    }
    // A leading zero byte is allowed only before a byte with its sign bit set.
    if (((*content)[1] & kSignBit) == 0) {
        return std::nullopt;
    }
    return content->subspan(1);
}

std::optional<std::uint8_t> DerReader::takeByte() noexcept {
    if (m_rest.empty()) {
        return std::nullopt;
    }
    const std::uint8_t byte = m_rest.front();
    m_rest = m_rest.subspan(1);
    return byte;
}

std::optional<std::size_t> DerReader::takeLength() noexcept {
    const auto first = takeByte();
    if (!first || *first < kLongForm) {
        return first;
    }
    const std::size_t count = *first - kLongForm;
    // Zero length bytes mean the indefinite form; a leading zero means a length that is not in its shortest form.
    if (count == 0 || count > kMostLengthBytes || m_rest.size() < count || m_rest.front() == 0) {
        return std::nullopt;
    }
    std::size_t length = 0;
    for (const std::uint8_t byte : m_rest.first(count)) {
        length = (length << 8) | byte;
    }
    m_rest = m_rest.subspan(count);
    if (length < kLongForm) {
        return std::nullopt;
    }
    return length;
}

} // namespace Ry
