#include "host/view/FilePieces.h"

#include <algorithm>
#include <limits>

namespace host {

namespace {

constexpr std::size_t kLongestPiece = std::size_t{1} << 16U;
constexpr std::size_t kLongestText = 1024;

} // namespace

std::string FilePieces::bytes(std::uint64_t offset, std::size_t length) const {
    constexpr auto kFarthest = static_cast<std::uint64_t>(std::numeric_limits<std::streamoff>::max());
    std::string piece(std::min(length, kLongestPiece), '\0');
    m_file.clear();
    if (offset > kFarthest || !m_file.seekg(static_cast<std::streamoff>(offset))) {
        return {};
    }
    m_file.read(piece.data(), static_cast<std::streamsize>(piece.size()));
    piece.resize(static_cast<std::size_t>(std::max<std::streamsize>(m_file.gcount(), 0)));
    return piece;
}

std::string FilePieces::text(std::uint64_t offset) const {
    const std::string piece = bytes(offset, kLongestText);
    const std::size_t end = piece.find('\0');
    return end == std::string::npos ? std::string() : piece.substr(0, end);
}

std::uint64_t FilePieces::number(std::uint64_t offset, std::size_t size) const {
    const std::string piece = bytes(offset, size);
    std::uint64_t value = 0;
    if (piece.size() == size) {
        for (std::size_t i = size; i-- > 0;) {
            value = value << 8U | static_cast<unsigned char>(piece[i]);
        }
    }
    return value;
}

} // namespace host
