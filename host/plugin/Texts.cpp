#include "host/plugin/Texts.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <span>

#include "host/plugin/Errors.h"
#include "platform/CharacterWidth.h"
#include "text/Base64.h"
#include "text/Hexadecimal.h"
#include "text/Utf8.h"
#include "text/Wiped.h"

namespace host {

namespace {

Zel::TString makeTString(const WipedText& text) {
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        throw UsageError("a value is too long");
    }
    return {text.data(), static_cast<int>(text.size())};
}

std::span<const std::uint8_t> asBytes(std::string_view bytes) {
    return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

int digitValue(char digit) noexcept {
    constexpr std::string_view kDigits = "0123456789abcdef";
    const char lower = (digit >= 'A' && digit <= 'F') ? static_cast<char>(digit - 'A' + 'a') : digit;
    const std::size_t value = kDigits.find(lower);
    return value == std::string_view::npos ? -1 : static_cast<int>(value);
}

/// Characters that turn the direction of the text around them, such as a name that hides another one.
bool isDirection(char32_t character) noexcept {
    return character == 0x061C || character == 0x200E || character == 0x200F ||
           (character >= 0x202A && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069);
}

/// A terminal may take control characters as orders.
bool isObeyed(char32_t character) noexcept {
    return character < 0x20 || (character >= 0x7F && character < 0xA0) || isDirection(character);
}

/// XML does not allow the last ones either.
bool isUnprintable(char32_t character) noexcept {
    return isObeyed(character) || (character >= 0xFFFD && character <= 0xFFFF);
}

struct Character {
    char32_t value = 0;
    std::size_t bytes = 0;
};

/// The first character of UTF-8 text.
Character firstCharacter(std::string_view utf8) noexcept {
    const auto first = static_cast<unsigned char>(utf8.front());
    const std::size_t length = first < 0x80U ? 1 : first < 0xE0U ? 2 : first < 0xF0U ? 3 : 4;
    Character character{length == 1 ? first : first & (0x7FU >> length), 1};
    while (character.bytes < std::min(length, utf8.size()) &&
           (static_cast<unsigned char>(utf8[character.bytes]) & 0xC0U) == 0x80U) {
        character.value = character.value << 6U | (static_cast<unsigned char>(utf8[character.bytes++]) & 0x3FU);
    }
    return character;
}

/// As many bytes of the text as take no more than this width.
std::size_t bytesWithin(std::string_view utf8, std::size_t width) noexcept {
    std::size_t end = 0;
    std::size_t used = 0;
    while (end < utf8.size()) {
        const Character character = firstCharacter(utf8.substr(end));
        used += platform::columnsOf(character.value);
        if (used > width) {
            break;
        }
        end += character.bytes;
    }
    return end;
}

/// The number of letters to insert, remove or replace on the way from one word to the other.
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, replaced});
        }
    }
    return row[b.size()];
}

std::string lowerCase(std::string_view word) {
    std::string result(word);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; });
    return result;
}

} // namespace

Zel::TString toTString(std::string_view utf8) {
    WipedText wide(text::utf8ToWide(utf8.data(), utf8.size(), nullptr, 0));
    wide.resize(text::utf8ToWide(utf8.data(), utf8.size(), wide.data(), wide.size()));
    return makeTString(wide);
}

std::string toUtf8(const Zel::TString& text) {
    return text::toUtf8({text.data(), text.length()});
}

Zel::TString toHexadecimal(std::string_view bytes) {
    WipedText digits(bytes.size() * 2);
    text::encodeHexadecimal(asBytes(bytes), digits.data());
    return makeTString(digits);
}

std::string hexadecimalText(std::string_view bytes) {
    return toUtf8(toHexadecimal(bytes));
}

Zel::TString toBase64(std::string_view bytes) {
    WipedText encoded(text::base64Length(bytes.size()));
    text::encodeBase64(asBytes(bytes), encoded.data());
    return makeTString(encoded);
}

std::optional<std::string> fromHexadecimal(std::string_view digits) {
    if (digits.size() % 2 != 0) {
        return std::nullopt;
    }
    std::string bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        const int high = digitValue(digits[i]);
        const int low = digitValue(digits[i + 1]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<char>(high * 16 + low));
    }
    return bytes;
}

std::string printable(std::string_view utf8) {
    const Zel::TString wide = toTString(utf8);
    std::wstring shown(wide.data(), wide.length());
    std::replace_if(shown.begin(), shown.end(), isUnprintable, L'?');
    return toUtf8(Zel::TString(shown.data(), static_cast<int>(shown.size())));
}

bool isObeyedByTerminals(std::string_view utf8) {
    const Zel::TString wide = toTString(utf8);
    return std::any_of(wide.data(), wide.data() + wide.length(), isObeyed);
}

bool hasControl(std::string_view text) noexcept {
    return std::any_of(text.begin(), text.end(), [](char c) {
        return static_cast<unsigned char>(c) < 0x20U || static_cast<unsigned char>(c) == 0x7FU;
    });
}

std::size_t columns(std::string_view utf8) noexcept {
    return static_cast<std::size_t>(std::count_if(
        utf8.begin(), utf8.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

std::size_t shownWidth(std::string_view utf8) noexcept {
    std::size_t width = 0;
    while (!utf8.empty()) {
        const Character character = firstCharacter(utf8);
        width += platform::columnsOf(character.value);
        utf8.remove_prefix(character.bytes);
    }
    return width;
}

std::string fitted(std::string_view utf8, std::size_t width) {
    std::string text(utf8);
    if (shownWidth(utf8) > width) {
        text.resize(width == 0 ? 0 : bytesWithin(utf8, width - 1));
        text += width == 0 ? "" : "…";
    }
    return text.append(width - shownWidth(text), ' ');
}

std::string_view trimmed(std::string_view text) noexcept {
    const std::size_t last = text.find_last_not_of(' ');
    return last == std::string_view::npos ? std::string_view() : text.substr(0, last + 1);
}

bool contains(const std::vector<std::string>& list, std::string_view word) {
    return std::find(list.begin(), list.end(), word) != list.end();
}

std::optional<std::string> closest(std::string_view word, const std::vector<std::string>& candidates) {
    const std::string meant = lowerCase(word);
    std::optional<std::string> best;
    std::size_t bestDistance = word.size() / 3 + 2;
    for (const std::string& candidate : candidates) {
        const std::size_t current = distance(meant, lowerCase(candidate));
        if (current < bestDistance && current < candidate.size()) {
            best = candidate;
            bestDistance = current;
        }
    }
    return best;
}

bool isSameWord(std::string_view a, std::string_view b) {
    return lowerCase(a) == lowerCase(b);
}

bool isSlipOf(std::string_view word, std::string_view meant) {
    const std::string typed = lowerCase(word);
    const bool isBegin = typed.size() >= 3 && meant.substr(0, typed.size()) == typed;
    return isBegin || std::is_permutation(typed.begin(), typed.end(), meant.begin(), meant.end()) ||
           distance(typed, meant) <= 1;
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : ", ") + word;
    }
    return text;
}

std::string suggestion(std::string_view word, const std::vector<std::string>& candidates) {
    // A very long word is not a typing error, and comparing it takes long.
    const std::optional<std::string> meant = word.size() > 64 ? std::nullopt : closest(word, candidates);
    return meant ? " (did you mean \"" + *meant + "\"?)" : "";
}

} // namespace host
