#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tests {

/// Looks for secrets in memory: any 16 characters in a row of their text or of its hexadecimal text (of either case, 16
/// characters being 32 digits), narrow, in UTF-16 or in UTF-32. What it looks for stands masked in its own memory.
class Seeker {
public:
    static constexpr std::size_t kPiece = 16;

    /// `masked` as maskedSecrets gives it.
    explicit Seeker(std::string_view masked);

    using Found = std::function<void(const std::string& name)>;
    /// Calls `found` with the name of the secret for every piece.
    void search(const void* bytes, std::size_t size, const Found& found) const;

private:
    struct Piece {
        std::uint32_t secret;
        std::uint32_t text;
        std::uint32_t at;
        std::uint32_t length;
    };

    void addPieces(std::uint32_t secret, std::string maskedText, std::size_t length);
    template <class Character>
    void searchWidth(const std::uint8_t* bytes, std::size_t size, const Found& found) const;

    std::vector<std::string> m_names;
    std::vector<std::string> m_texts;
    std::unordered_map<std::uint64_t, std::vector<Piece>> m_pieces;
    std::vector<bool> m_isUsed;
};

struct NamedSecret {
    std::string name; ///< without blanks
    std::string text; ///< without line ends
};

/// One line for each, name and masked text.
[[nodiscard]] std::string maskedSecrets(const std::vector<NamedSecret>& secrets);

/// A text as it is, of a masked one, and the other way round.
[[nodiscard]] std::string unmasked(std::string_view text);

} // namespace tests
