#include "platform/posix/VersionRecord.h"

#include <charconv>

namespace platform {

namespace {

/// Removes the text up to `separator`, and the separator, from the front of `rest`. nullopt without a separator.
std::optional<std::string_view> takeUpTo(std::string_view& rest, char separator) noexcept {
    const std::size_t end = rest.find(separator);
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view taken = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    return taken;
}

/// The number of a text that has only digits; nullopt for any other text.
std::optional<std::uint32_t> toNumber(std::string_view digits, int base) noexcept {
    std::uint32_t number = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, number, base);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

bool areLines(std::string_view lines) noexcept {
    while (!lines.empty()) {
        std::optional<std::string_view> line = takeUpTo(lines, '\n');
        if (!line || line->find('=') == 0 || line->find('=') == std::string_view::npos) {
            return false;
        }
    }
    return true;
}

} // namespace

std::optional<VersionRecord> VersionRecord::parse(std::string_view section) {
    section = section.substr(0, section.find('\0'));
    if (section.size() > kLargestVersionRecord || !section.starts_with(kVersionFormat)) {
        return std::nullopt;
    }
    VersionRecord record;
    record.m_lines = section.substr(kVersionFormat.size());
    const std::optional<std::string_view> translation = record.value("Translation");
    if (!areLines(record.m_lines) || !translation || translation->size() != 8) {
        return std::nullopt;
    }
    const std::optional<std::uint32_t> number = toNumber(*translation, 16);
    if (!number) {
        return std::nullopt;
    }
    record.m_translation = *number;
    return record;
}

std::optional<std::array<std::uint32_t, 4>> VersionRecord::fileVersion() const {
    std::optional<std::string_view> text = value("FileVersion");
    if (!text) {
        return std::nullopt;
    }
    std::array<std::uint32_t, 4> version{};
    for (std::size_t i = 0; i < version.size(); ++i) {
        const std::optional<std::string_view> part = i + 1 < version.size() ? takeUpTo(*text, '.') : text;
        const std::optional<std::uint32_t> number = part ? toNumber(*part, 10) : std::nullopt;
        if (!number || *number > 0xFFFF) {
            return std::nullopt;
        }
        version[i] = *number;
    }
    return version;
}

std::optional<std::string_view> VersionRecord::value(std::string_view key) const noexcept {
    std::string_view rest = m_lines;
    while (std::optional<std::string_view> line = takeUpTo(rest, '\n')) {
        if (takeUpTo(*line, '=') == key) {
            return line;
        }
    }
    return std::nullopt;
}

} // namespace platform
