#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>

#include "cryptoki/cryptoki.h"
#include "text/SecretBuffer.h"

/// A Cryptoki template: a fixed array of attributes with a count of used entries. It owns every value and wipes them
/// when it goes.
///
/// A few fixed entries come first: the head. Once it is closed, setting an attribute of the head overwrites its entry,
/// and every other one is appended, also one that was appended before. What finds no room is left out; hasRoomFor
/// tells.
///
/// The slots may carry preset types: what a slot is sent as when it is counted without having been written.
class AttributeTemplate {
public:
    static constexpr std::size_t kCapacity = 23;

    /// `capacity`: how many entries it has room for, at most kCapacity.
    explicit AttributeTemplate(std::size_t capacity, std::initializer_list<CK_ATTRIBUTE_TYPE> presetTypes = {});
    AttributeTemplate(const AttributeTemplate&) = delete;
    AttributeTemplate& operator=(const AttributeTemplate&) = delete;
    AttributeTemplate(AttributeTemplate&&) = delete;
    AttributeTemplate& operator=(AttributeTemplate&&) = delete;
    ~AttributeTemplate();

    void setBoolean(CK_ATTRIBUTE_TYPE type, bool value);    ///< one CK_BBOOL
    void setNumber(CK_ATTRIBUTE_TYPE type, CK_ULONG value); ///< sizeof(CK_ULONG) bytes in the machine's order
    void setBytes(CK_ATTRIBUTE_TYPE type, std::span<const std::uint8_t> value);
    void setBytes(CK_ATTRIBUTE_TYPE type, SecretBuffer value);
    /// Counts an entry for `type` without writing it: it keeps its slot's preset type, a null value and length 0.
    void countUnwritten(CK_ATTRIBUTE_TYPE type);

    /// The entries so far are the head. `reserved` places are kept for what is not asked about with hasRoomFor.
    void closeHead(std::size_t reserved = 0);
    /// Whether an entry for `type` can be set: it is one of the head, or a place is free.
    [[nodiscard]] bool hasRoomFor(CK_ATTRIBUTE_TYPE type) const;

    /// Position of the last entry made for `type`, if there is one.
    [[nodiscard]] std::optional<std::size_t> find(CK_ATTRIBUTE_TYPE type) const;

    /// For Cryptoki calls; null when the template is empty, as the calls want it. A fresh copy of the entries each
    /// time: what a module scribbles into it changes nothing here.
    [[nodiscard]] CK_ATTRIBUTE* entries();
    [[nodiscard]] const CK_ATTRIBUTE& at(std::size_t index) const { return m_entries.at(index); }
    [[nodiscard]] std::span<const std::uint8_t> valueAt(std::size_t index) const;
    [[nodiscard]] CK_ULONG count() const { return static_cast<CK_ULONG>(m_count); }

private:
    [[nodiscard]] std::optional<std::size_t> findInHead(CK_ATTRIBUTE_TYPE type) const;
    /// The head's entry for `type`, else a new one; null when there is no room.
    CK_ATTRIBUTE* slotFor(CK_ATTRIBUTE_TYPE type);
    void point(CK_ATTRIBUTE& entry, CK_ATTRIBUTE_TYPE type, void* value, std::size_t length);

    std::array<CK_ATTRIBUTE_TYPE, kCapacity> m_presetTypes{};
    // Set entry by entry, for the used ones.
    std::array<CK_ATTRIBUTE, kCapacity> m_entries;
    std::array<CK_ATTRIBUTE, kCapacity> m_handedOut;
    std::array<CK_ATTRIBUTE_TYPE, kCapacity> m_meant; ///< what the entry was made for
    std::array<CK_ULONG, kCapacity> m_scalars;
    std::array<SecretBuffer, kCapacity> m_bytes;
    std::size_t m_capacity;
    std::size_t m_count = 0;
    std::size_t m_headCount = 0;
    std::size_t m_reserved = 0;
};
