#include "tests/fake/Attributes.h"

#include "tests/fake/TemplateText.h"

#include <cstring>
#include <stdexcept>

namespace Fake {

namespace {

int digit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    throw std::invalid_argument("not a hexadecimal digit");
}

} // namespace

std::string hex(std::string_view bytes) {
    return bytes.empty() ? std::string() : bytesText(bytes.data(), static_cast<CK_ULONG>(bytes.size()));
}

std::string bytes(std::string_view hexText) {
    if (hexText.size() % 2 != 0) {
        throw std::invalid_argument("odd number of hexadecimal digits");
    }
    std::string result;
    for (std::size_t i = 0; i < hexText.size(); i += 2) {
        result += static_cast<char>(digit(hexText[i]) * 16 + digit(hexText[i + 1]));
    }
    return result;
}

std::string ulongBytes(CK_ULONG value) {
    std::string result(sizeof(value), '\0');
    std::memcpy(result.data(), &value, sizeof(value));
    return result;
}

Attributes& Attributes::number(CK_ATTRIBUTE_TYPE type, CK_ULONG value) {
    return raw(type, ulongBytes(value));
}

Attributes& Attributes::boolean(CK_ATTRIBUTE_TYPE type, bool value) {
    return raw(type, std::string_view(value ? "\1" : "\0", 1));
}

Attributes& Attributes::hex(CK_ATTRIBUTE_TYPE type, std::string_view hexText) {
    return raw(type, bytes(hexText));
}

Attributes& Attributes::raw(CK_ATTRIBUTE_TYPE type, std::string_view bytes) {
    m_entries.push_back({type, std::string(bytes)});
    return *this;
}

std::optional<std::string> Attributes::hexOf(CK_ATTRIBUTE_TYPE type) const {
    for (const Entry& entry : m_entries) {
        if (entry.type == type) {
            return Fake::hex(entry.value);
        }
    }
    return std::nullopt;
}

std::optional<CK_ULONG> Attributes::numberOf(CK_ATTRIBUTE_TYPE type) const {
    for (const Entry& entry : m_entries) {
        CK_ULONG number = 0;
        if (entry.type == type && entry.value.size() == sizeof(number)) {
            std::memcpy(&number, entry.value.data(), sizeof(number));
            return number;
        }
    }
    return std::nullopt;
}

std::optional<bool> Attributes::booleanOf(CK_ATTRIBUTE_TYPE type) const {
    for (const Entry& entry : m_entries) {
        if (entry.type == type && entry.value.size() == 1) {
            return entry.value[0] != 0;
        }
    }
    return std::nullopt;
}

std::string Attributes::text() const {
    const std::vector<CK_ATTRIBUTE> entries = list();
    return entries.empty() ? "[]" : templateText(entries.data(), static_cast<CK_ULONG>(entries.size()), Pass::Given);
}

std::vector<CK_ATTRIBUTE> Attributes::list() const {
    std::vector<CK_ATTRIBUTE> result(m_entries.size());
    for (std::size_t i = 0; i < m_entries.size(); ++i) {
        result[i].type = m_entries[i].type;
        result[i].pValue = const_cast<char*>(m_entries[i].value.data());
        result[i].ulValueLen = static_cast<CK_ULONG>(m_entries[i].value.size());
    }
    return result;
}

} // namespace Fake
