#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace Secrets {

enum class Kind {
    Pin,   ///< of the user or of the security officer: nowhere, and never in a trace
    Key,   ///< a number of a private key, or the structure that it came in: as a PIN
    Value, ///< any other decoded value: nowhere in memory, but a trace may tell it
    Public ///< a value that an answer holds as Base64 text, which may stay in memory; otherwise as Value
};

/// Bytes that are to be gone.
struct Secret {
    const char* name;
    Kind kind;
    std::string bytes;
    /// Whether an executor that is alive keeps it in its access values by right: a PIN as bytes, another value as
    /// hexadecimal text.
    bool isKept = false;
};

/// A piece of a secret in one of the forms that it may have in memory.
struct Needle {
    const Secret* secret;
    const char* form;
    bool isKeptForm; ///< a form in which access values hold what they keep
    std::string bytes;
};

/// Finds secrets as raw bytes, as hexadecimal text of either case and as Base64, narrow, in UTF-16 and in UTF-32; PINs
/// as text of these widths too, numbers of keys also least significant byte first. A remnant is found when 15 bytes or
/// characters of it are left in a row: pieces of 8 are searched for, every 8th begins one.
class Needles {
public:
    /// The secrets must outlive this object.
    explicit Needles(const std::vector<Secret>& secrets);

    using Found = void (*)(const Needle& needle, const std::uint8_t* at);
    void search(const void* bytes, std::size_t size, Found found) const;

    [[nodiscard]] std::size_t count() const { return m_needles.size(); }

private:
    static constexpr std::size_t kBits = 18;
    static constexpr std::size_t kKey = 8;

    static std::size_t hash(std::uint64_t key) { return key * 0x9E3779B97F4A7C15U >> (64 - kBits); }
    void addForms(const Secret& secret, const std::string& bytes, const char* order);
    template <class Character>
    void addText(const Secret& secret, const char* form, const std::string& text, bool isKept,
                 const std::string& known = {});
    void addPieces(const Secret& secret, const char* form, const std::string& bytes, std::size_t piece, bool isKept,
                   const std::string& known = {});

    std::vector<Needle> m_needles;
    /// By the hash of a needle's first eight bytes: whether there is one, and the needles' numbers.
    std::array<std::uint64_t, (std::size_t{1} << kBits) / 64> m_isUsed{};
    std::unordered_map<std::size_t, std::vector<std::uint32_t>> m_byHash;
};

} // namespace Secrets
