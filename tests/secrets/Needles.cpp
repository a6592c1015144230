#include "tests/secrets/Needles.h"

#include "tests/secrets/Heap.h"

#include <cstring>

namespace Secrets {

namespace {

constexpr std::size_t kPiece = 8;

std::string hexText(const std::string& bytes, const char* digits) {
    std::string text;
    for (const char byte : bytes) {
        text += digits[static_cast<unsigned char>(byte) >> 4];
        text += digits[static_cast<unsigned char>(byte) & 0xF];
    }
    return text;
}

/// Without the last, incomplete group.
std::string base64Text(const std::string& bytes) {
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i + 3 <= bytes.size(); i += 3) {
        unsigned group = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            group = group << 8 | static_cast<unsigned char>(bytes[i + k]);
        }
        for (int shift = 18; shift >= 0; shift -= 6) {
            text += kDigits[group >> shift & 63];
        }
    }
    return text;
}

template <class Character>
std::string widened(const std::string& text) {
    std::string wide;
    for (const char character : text) {
        const auto unit = static_cast<Character>(static_cast<unsigned char>(character));
        wide.append(reinterpret_cast<const char*>(&unit), sizeof unit);
    }
    return wide;
}

} // namespace

Needles::Needles(const std::vector<Secret>& secrets) {
    const Heap::Unwatched unwatched;
    for (const Secret& secret : secrets) {
        addForms(secret, secret.bytes, "");
        if (secret.kind == Kind::Key) {
            addForms(secret, std::string(secret.bytes.rbegin(), secret.bytes.rend()), ", reversed");
        }
    }
    for (std::uint32_t i = 0; i < m_needles.size(); ++i) {
        std::uint64_t key = 0;
        std::memcpy(&key, m_needles[i].bytes.data(), kKey);
        m_byHash[hash(key)].push_back(i);
        m_isUsed[hash(key) / 64] |= std::uint64_t{1} << hash(key) % 64;
    }
}

void Needles::addForms(const Secret& secret, const std::string& bytes, const char* order) {
    const bool isPin = secret.kind == Kind::Pin;
    addPieces(secret, order[0] == 0 ? "bytes" : "bytes, reversed", bytes, kPiece, secret.isKept && isPin);
    const std::string upper = hexText(bytes, "0123456789ABCDEF");
    addText<char>(secret, "hexadecimal text", upper, false);
    addText<char16_t>(secret, "UTF-16 hexadecimal text", upper, false);
    addText<char32_t>(secret, "UTF-32 hexadecimal text", upper, secret.isKept && !isPin);
    // Pieces without a letter are the same in both cases.
    const std::string lower = hexText(bytes, "0123456789abcdef");
    addText<char>(secret, "lower-case hexadecimal text", lower, false, upper);
    addText<char16_t>(secret, "UTF-16 lower-case hexadecimal text", lower, false, upper);
    addText<char32_t>(secret, "UTF-32 lower-case hexadecimal text", lower, false, upper);
    const std::string base64 = base64Text(bytes);
    addText<char>(secret, "Base64", base64, false);
    addText<char16_t>(secret, "UTF-16 Base64", base64, false);
    if (secret.kind != Kind::Public) {
        addText<char32_t>(secret, "UTF-32 Base64", base64, false);
    }
    if (isPin) {
        addText<char16_t>(secret, "UTF-16 text", bytes, false);
        addText<char32_t>(secret, "UTF-32 text", bytes, false);
    }
}

template <class Character>
void Needles::addText(const Secret& secret, const char* form, const std::string& text, bool isKept,
                      const std::string& known) {
    addPieces(secret, form, widened<Character>(text), kPiece * sizeof(Character), isKept, widened<Character>(known));
}

void Needles::addPieces(const Secret& secret, const char* form, const std::string& bytes, std::size_t piece,
                        bool isKept, const std::string& known) {
    for (std::size_t at = 0; at + piece <= bytes.size(); at += piece) {
        if (known.empty() || bytes.compare(at, piece, known, at, piece) != 0) {
            m_needles.push_back({&secret, form, isKept, bytes.substr(at, piece)});
        }
    }
}

void Needles::search(const void* bytes, std::size_t size, Found found) const {
    const auto* const begin = static_cast<const std::uint8_t*>(bytes);
    for (std::size_t at = 0; at + kKey <= size; ++at) {
        std::uint64_t key = 0;
        std::memcpy(&key, begin + at, kKey);
        const std::size_t place = hash(key);
        if (key == 0 || (m_isUsed[place / 64] >> place % 64 & 1) == 0) {
            continue;
        }
        for (const std::uint32_t number : m_byHash.at(place)) {
            const std::string& piece = m_needles[number].bytes;
            if (piece.size() <= size - at && std::memcmp(begin + at, piece.data(), piece.size()) == 0) {
                found(m_needles[number], begin + at);
            }
        }
    }
}

} // namespace Secrets
