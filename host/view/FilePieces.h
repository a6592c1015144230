#pragma once

#include <cstdint>
#include <istream>
#include <string>

namespace host {

/// Little-endian numbers and texts at places of a file. What lies outside the file reads as 0 and as the empty text.
class FilePieces {
public:
    explicit FilePieces(std::istream& file) : m_file(file) {}

    /// `length` bytes, or those that are there; 64 KiB at most.
    [[nodiscard]] std::string bytes(std::uint64_t offset, std::size_t length) const;
    /// Up to a zero byte; empty for more than 1024 bytes without one.
    [[nodiscard]] std::string text(std::uint64_t offset) const;
    /// A number of `size` bytes, 8 at most.
    [[nodiscard]] std::uint64_t number(std::uint64_t offset, std::size_t size) const;

private:
    std::istream& m_file;
};

} // namespace host
