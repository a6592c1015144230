#include "token/AttributeTemplate.h"

#include <algorithm>

#include "text/SecureZero.h"

AttributeTemplate::AttributeTemplate(std::size_t capacity, std::initializer_list<CK_ATTRIBUTE_TYPE> presetTypes)
    : m_capacity(std::min(capacity, kCapacity)) {
    std::copy_n(presetTypes.begin(), std::min(presetTypes.size(), kCapacity), m_presetTypes.begin());
}

AttributeTemplate::~AttributeTemplate() {
    text::secureZero(m_scalars.data(), m_count * sizeof(CK_ULONG));
}

void AttributeTemplate::setBoolean(CK_ATTRIBUTE_TYPE type, bool value) {
    if (CK_ATTRIBUTE* entry = slotFor(type)) {
        CK_ULONG& scalar = m_scalars[static_cast<std::size_t>(entry - m_entries.data())];
        scalar = 0;
        *reinterpret_cast<CK_BBOOL*>(&scalar) = value ? CK_TRUE : CK_FALSE;
        point(*entry, type, &scalar, sizeof(CK_BBOOL));
    }
}

void AttributeTemplate::setNumber(CK_ATTRIBUTE_TYPE type, CK_ULONG value) {
    if (CK_ATTRIBUTE* entry = slotFor(type)) {
        CK_ULONG& scalar = m_scalars[static_cast<std::size_t>(entry - m_entries.data())];
        scalar = value;
        point(*entry, type, &scalar, sizeof scalar);
    }
}

void AttributeTemplate::setBytes(CK_ATTRIBUTE_TYPE type, std::span<const std::uint8_t> value) {
    setBytes(type, SecretBuffer::copyOf(value));
}

void AttributeTemplate::setBytes(CK_ATTRIBUTE_TYPE type, SecretBuffer value) {
    if (CK_ATTRIBUTE* entry = slotFor(type)) {
        SecretBuffer& bytes = m_bytes[static_cast<std::size_t>(entry - m_entries.data())];
        bytes = std::move(value);
        point(*entry, type, bytes.data(), bytes.size());
    }
}

void AttributeTemplate::countUnwritten(CK_ATTRIBUTE_TYPE type) {
    if (CK_ATTRIBUTE* entry = slotFor(type)) {
        const auto index = static_cast<std::size_t>(entry - m_entries.data());
        m_bytes[index].clear();
        point(*entry, m_presetTypes[index], nullptr, 0);
    }
}

CK_ATTRIBUTE* AttributeTemplate::entries() {
    std::copy_n(m_entries.begin(), m_count, m_handedOut.begin());
    return m_count == 0 ? nullptr : m_handedOut.data();
}

std::optional<std::size_t> AttributeTemplate::find(CK_ATTRIBUTE_TYPE type) const {
    for (std::size_t i = m_count; i > 0; --i) {
        if (m_meant[i - 1] == type) {
            return i - 1;
        }
    }
    return std::nullopt;
}

std::optional<std::size_t> AttributeTemplate::findInHead(CK_ATTRIBUTE_TYPE type) const {
    const auto end = m_meant.begin() + static_cast<std::ptrdiff_t>(m_headCount);
    const auto found = std::find(m_meant.begin(), end, type);
    return found == end ? std::nullopt : std::optional(static_cast<std::size_t>(found - m_meant.begin()));
}

void AttributeTemplate::closeHead(std::size_t reserved) {
    m_headCount = m_count;
    m_reserved = reserved;
}

bool AttributeTemplate::hasRoomFor(CK_ATTRIBUTE_TYPE type) const {
    return m_count + m_reserved < m_capacity || findInHead(type).has_value();
}

std::span<const std::uint8_t> AttributeTemplate::valueAt(std::size_t index) const {
    const CK_ATTRIBUTE& entry = m_entries.at(index);
    return {static_cast<const std::uint8_t*>(entry.pValue), static_cast<std::size_t>(entry.ulValueLen)};
}

CK_ATTRIBUTE* AttributeTemplate::slotFor(CK_ATTRIBUTE_TYPE type) {
    if (const auto index = findInHead(type)) {
        return &m_entries[*index];
    }
    if (m_count == m_capacity) {
        return nullptr;
    }
    m_meant[m_count] = type;
    return &m_entries[m_count++];
}

void AttributeTemplate::point(CK_ATTRIBUTE& entry, CK_ATTRIBUTE_TYPE type, void* value, std::size_t length) {
    entry.type = type;
    entry.pValue = value;
    entry.ulValueLen = static_cast<CK_ULONG>(length);
}
