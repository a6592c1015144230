#include "host/x509/AlternativeName.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

#include "host/plugin/Errors.h"

namespace host::x509 {

namespace {

constexpr std::size_t kLongestDnsName = 253;
constexpr std::size_t kLongestLabel = 63;
constexpr std::size_t kGroups = 8; ///< of an IPv6 address

bool isIn(std::string_view text, std::string_view allowed) noexcept {
    return text.find_first_not_of(allowed) == std::string_view::npos;
}

/// Visible ASCII, as the string type of these names holds it; international names have an ASCII form.
bool isVisible(std::string_view text) noexcept {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < '\x7F'; });
}

bool isDnsName(std::string_view text) noexcept {
    constexpr std::string_view kAllowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_";
    if (text.starts_with("*.")) {
        text.remove_prefix(2);
    }
    if (text.size() > kLongestDnsName) {
        return false;
    }
    for (;;) {
        const std::string_view label = text.substr(0, text.find('.'));
        if (label.empty() || label.size() > kLongestLabel || !isIn(label, kAllowed)) {
            return false;
        }
        if (label.size() == text.size()) {
            return true;
        }
        text.remove_prefix(label.size() + 1);
    }
}

bool isEmail(std::string_view text) noexcept {
    const std::size_t at = text.find('@');
    return isVisible(text) && at != 0 && at != std::string_view::npos && isDnsName(text.substr(at + 1));
}

bool isUri(std::string_view text) noexcept {
    const std::size_t colon = text.find(':');
    return isVisible(text) && colon != std::string_view::npos && colon != 0 && colon + 1 < text.size() &&
           isIn(text.substr(0, colon), "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789+-.");
}

/// A whole text that is one number up to `most`.
std::optional<unsigned> number(std::string_view text, int base, unsigned most) noexcept {
    unsigned value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    const bool isNumber = error == std::errc() && end == text.data() + text.size() && value <= most;
    return isNumber ? std::optional(value) : std::nullopt;
}

/// The pieces between `separator`; one empty piece for the empty text.
std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    for (;;) {
        const std::size_t end = text.find(separator);
        pieces.push_back(text.substr(0, end));
        if (end == std::string_view::npos) {
            return pieces;
        }
        text.remove_prefix(end + 1);
    }
}

/// Empty when the text is no address.
Bytes ipv4(std::string_view text) {
    Bytes address;
    for (const std::string_view piece : split(text, '.')) {
        const std::optional<unsigned> value = number(piece, 10, 0xFF);
        if (!value || (piece.size() > 1 && piece.front() == '0')) {
            return {};
        }
        address.push_back(static_cast<std::uint8_t>(*value));
    }
    return address.size() == 4 ? address : Bytes();
}

/// The bytes of groups between colons; nothing for anything else, and no bytes for the empty text.
std::optional<Bytes> groups(std::string_view text) {
    Bytes bytes;
    if (text.empty()) {
        return bytes;
    }
    for (const std::string_view piece : split(text, ':')) {
        const std::optional<unsigned> value = piece.size() > 4 ? std::nullopt : number(piece, 16, 0xFFFF);
        if (!value) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<std::uint8_t>(*value >> 8));
        bytes.push_back(static_cast<std::uint8_t>(*value));
    }
    return bytes;
}

/// Empty when the text is no address. An IPv4 address as the last groups is not taken: it can be written as two.
Bytes ipv6(std::string_view text) {
    const std::size_t gap = text.find("::");
    std::optional<Bytes> front = groups(text.substr(0, gap));
    const std::optional<Bytes> back = gap == std::string_view::npos ? Bytes() : groups(text.substr(gap + 2));
    if (!front || !back) {
        return {};
    }
    const std::size_t count = front->size() + back->size();
    if (gap == std::string_view::npos ? count != 2 * kGroups : count > 2 * (kGroups - 1)) {
        return {};
    }
    front->resize(2 * kGroups - back->size());
    front->insert(front->end(), back->begin(), back->end());
    return *front;
}

struct Kind {
    std::string_view prefix;
    std::uint8_t tag;
    bool (*isValid)(std::string_view) noexcept; ///< null for an address
};

constexpr std::array kKinds{Kind{"DNS:", 2, isDnsName}, Kind{"IP:", 7, nullptr}, Kind{"email:", 1, isEmail},
                            Kind{"URI:", 6, isUri}};

Bytes valueOf(const Kind& kind, std::string_view value) {
    if (kind.isValid == nullptr) {
        return value.find(':') == std::string_view::npos ? ipv4(value) : ipv6(value);
    }
    return kind.isValid(value) ? Bytes(value.begin(), value.end()) : Bytes();
}

} // namespace

AlternativeName AlternativeName::parse(std::string_view text) {
    for (const Kind& kind : kKinds) {
        if (!text.starts_with(kind.prefix)) {
            continue;
        }
        AlternativeName name{kind.tag, valueOf(kind, text.substr(kind.prefix.size()))};
        if (name.value.empty()) {
            throw UsageError("alternative name \"" + std::string(text) + "\": what stands behind \"" +
                             std::string(kind.prefix) + "\" is not valid there");
        }
        return name;
    }
    throw UsageError("alternative name \"" + std::string(text) +
                     "\": it begins with \"DNS:\", \"IP:\", \"email:\" or \"URI:\"");
}

} // namespace host::x509
