#include "tests/host/memory/Seeker.h"

namespace tests {

namespace {

constexpr std::uint8_t kMask = 0x80; // of ASCII it makes what is no text at all
constexpr std::size_t kKey = 8;
constexpr std::size_t kBits = 20;

std::size_t hash(std::uint64_t key) {
    return key * 0x9E3779B97F4A7C15U >> (64 - kBits);
}

char mask(char byte) {
    return static_cast<char>(static_cast<std::uint8_t>(byte) ^ kMask);
}

/// Of masked text, masked; no text stands in memory on the way.
std::string hexadecimal(std::string_view masked, const char* digits) {
    std::string text;
    for (const char byte : masked) {
        const auto value = static_cast<std::uint8_t>(mask(byte));
        text += mask(digits[value >> 4]);
        text += mask(digits[value & 0xF]);
    }
    return text;
}

std::uint64_t keyOf(const std::string& masked, std::size_t at) {
    std::uint64_t key = 0;
    for (std::size_t i = 0; i < kKey; ++i) {
        key = key << 8 | static_cast<std::uint8_t>(masked[at + i]);
    }
    return key;
}

} // namespace

Seeker::Seeker(std::string_view masked) : m_isUsed(std::size_t{1} << kBits) {
    while (!masked.empty()) {
        const std::string_view line = masked.substr(0, masked.find('\n'));
        masked.remove_prefix(std::min(line.size() + 1, masked.size()));
        const std::size_t blank = line.find(' ');
        const auto number = static_cast<std::uint32_t>(m_names.size());
        m_names.emplace_back(line.substr(0, blank));
        const std::string_view text = line.substr(blank + 1);
        addPieces(number, std::string(text), kPiece);
        addPieces(number, hexadecimal(text, "0123456789ABCDEF"), 2 * kPiece);
        addPieces(number, hexadecimal(text, "0123456789abcdef"), 2 * kPiece);
    }
}

void Seeker::addPieces(std::uint32_t secret, std::string maskedText, std::size_t length) {
    const auto text = static_cast<std::uint32_t>(m_texts.size());
    for (std::size_t at = 0; at + length <= maskedText.size(); ++at) {
        const std::uint64_t key = keyOf(maskedText, at);
        m_pieces[key].push_back({secret, text, static_cast<std::uint32_t>(at), static_cast<std::uint32_t>(length)});
        m_isUsed[hash(key)] = true;
    }
    m_texts.push_back(std::move(maskedText));
}

template <class Character>
void Seeker::searchWidth(const std::uint8_t* bytes, std::size_t size, const Found& found) const {
    // Character by character, on purpose: a search by the vector would leave what it finds in its registers.
    constexpr std::size_t kWidth = sizeof(Character);
    const auto characterAt = [&](std::size_t at) -> std::uint32_t {
        Character character = 0;
        for (std::size_t i = kWidth; i-- > 0;) {
            character = static_cast<Character>((std::uint64_t{character} << 8) | bytes[at + i]);
        }
        return static_cast<std::uint32_t>(character) ^ kMask;
    };
    for (std::size_t begin = 0; begin < kWidth; ++begin) {
        std::uint64_t key = 0;
        std::size_t run = 0; ///< characters in a row that could be text
        for (std::size_t at = begin; at + kWidth <= size; at += kWidth) {
            const std::uint32_t character = characterAt(at);
            run = character <= 0xFF ? run + 1 : 0;
            key = key << 8 | (character & 0xFF);
            if (run < kKey || !m_isUsed[hash(key)]) {
                continue;
            }
            const auto pieces = m_pieces.find(key);
            const std::size_t first = at - (kKey - 1) * kWidth;
            for (std::size_t i = 0; pieces != m_pieces.end() && i < pieces->second.size(); ++i) {
                const Piece& piece = pieces->second[i];
                const std::string& text = m_texts[piece.text];
                std::size_t same = kKey;
                while (same < piece.length && first + (same + 1) * kWidth <= size &&
                       characterAt(first + same * kWidth) == static_cast<std::uint8_t>(text[piece.at + same])) {
                    ++same;
                }
                if (same == piece.length) {
                    found(m_names[piece.secret]);
                }
            }
        }
    }
}

void Seeker::search(const void* bytes, std::size_t size, const Found& found) const {
    const auto* const first = static_cast<const std::uint8_t*>(bytes);
    searchWidth<std::uint8_t>(first, size, found);
    searchWidth<std::uint16_t>(first, size, found);
    searchWidth<std::uint32_t>(first, size, found);
}

std::string maskedSecrets(const std::vector<NamedSecret>& secrets) {
    std::string lines;
    for (const NamedSecret& secret : secrets) {
        lines += secret.name + " " + unmasked(secret.text) + "\n";
    }
    return lines;
}

std::string unmasked(std::string_view text) {
    std::string other(text);
    for (char& byte : other) {
        byte = mask(byte);
    }
    return other;
}

} // namespace tests
