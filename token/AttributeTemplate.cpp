#include "token/AttributeTemplate.h"

#include <algorithm>

#include "text/SecureZero.h"

namespace plugin {

AttributeTemplate::AttributeTemplate(std::size_t capacity, std::initializer_list<CK_ATTRIBUTE_TYPE> presetTypes)
    : m_capacity(std::min(capacity, kCapacity)) {
    for (std::size_t i = 0; i < std::min(presetTypes.size(), kCapacity); ++i) {
        m_entries[i].presetType = presetTypes.begin()[i];
    }
}

AttributeTemplate::~AttributeTemplate() {
    for (Entry& entry : m_entries) {
        text::secureZero(&entry.number, sizeof entry.number);
    }
}

void AttributeTemplate::setBoolean(CK_ATTRIBUTE_TYPE type, bool value) {
    if (Entry* entry = entryFor(type)) {
        entry->number = 0;
        *reinterpret_cast<CK_BBOOL*>(&entry->number) = value ? CK_TRUE : CK_FALSE;
        entry->send(type, &entry->number, sizeof(CK_BBOOL));
    }
}

void AttributeTemplate::setNumber(CK_ATTRIBUTE_TYPE type, CK_ULONG value) {
    if (Entry* entry = entryFor(type)) {
        entry->number = value;
        entry->send(type, &entry->number, sizeof entry->number);
    }
}

void AttributeTemplate::setBytes(CK_ATTRIBUTE_TYPE type, std::span<const std::uint8_t> value) {
    setBytes(type, SecretBuffer::copyOf(value));
}

void AttributeTemplate::setBytes(CK_ATTRIBUTE_TYPE type, SecretBuffer value) {
    if (Entry* entry = entryFor(type)) {
        entry->bytes = std::move(value);
        entry->send(type, entry->bytes.data(), entry->bytes.size());
    }
}

void AttributeTemplate::setWithoutValue(CK_ATTRIBUTE_TYPE type) {
    if (Entry* entry = entryFor(type)) {
        entry->bytes.clear();
        entry->send(entry->presetType, nullptr, 0);
    }
}

void AttributeTemplate::endFixed(std::size_t reserved) {
    m_fixedCount = m_count;
    m_reserved = reserved;
}

bool AttributeTemplate::hasRoomFor(CK_ATTRIBUTE_TYPE type) const {
    return m_count + m_reserved < m_capacity || findFixed(type).has_value();
}

std::optional<std::size_t> AttributeTemplate::find(CK_ATTRIBUTE_TYPE type) const {
    for (std::size_t i = m_count; i > 0; --i) {
        if (m_entries[i - 1].setFor == type) {
            return i - 1;
        }
    }
    return std::nullopt;
}

CK_ATTRIBUTE* AttributeTemplate::entries() {
    const auto sent = [](const Entry& entry) { return entry.sent; };
    std::transform(m_entries.begin(), m_entries.begin() + static_cast<std::ptrdiff_t>(m_count), m_handedOut.begin(),
                   sent);
    return m_count == 0 ? nullptr : m_handedOut.data();
}

std::span<const std::uint8_t> AttributeTemplate::valueAt(std::size_t index) const {
    const CK_ATTRIBUTE& sent = at(index);
    return {static_cast<const std::uint8_t*>(sent.pValue), static_cast<std::size_t>(sent.ulValueLen)};
}

std::optional<std::size_t> AttributeTemplate::findFixed(CK_ATTRIBUTE_TYPE type) const {
    for (std::size_t i = 0; i < m_fixedCount; ++i) {
        if (m_entries[i].setFor == type) {
            return i;
        }
    }
    return std::nullopt;
}

AttributeTemplate::Entry* AttributeTemplate::entryFor(CK_ATTRIBUTE_TYPE type) {
    if (const auto index = findFixed(type)) {
        return &m_entries[*index];
    }
    if (m_count == m_capacity) {
        return nullptr;
    }
    Entry& entry = m_entries[m_count++];
    entry.setFor = type;
    return &entry;
}

} // namespace plugin
