#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>

#include "cryptoki/cryptoki.h"
#include "text/SecretBuffer.h"

namespace plugin {

/// A Cryptoki template: entries in the order in which they were set. It owns every value and wipes it at its end.
///
///     AttributeTemplate certificate(12);
///     certificate.setNumber(CKA_CLASS, CKO_CERTIFICATE);
///     certificate.setBoolean(CKA_TOKEN, true);
///     certificate.endFixed();
///     certificate.setBytes(CKA_LABEL, std::move(label));
///     call.run(hSession, certificate.entries(), certificate.count(), &hObject);
///
/// The entries before endFixed are fixed: setting such an attribute again overwrites its entry. Any other attribute is
/// appended each time it is set. A full template takes no more entries; ask hasRoomFor first.
///
/// Places may have preset types: an entry that is set without a value is sent with the preset type of its place.
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
    /// An entry for `type` without a value: the preset type of its place, a null value and length 0.
    void setWithoutValue(CK_ATTRIBUTE_TYPE type);

    /// Makes the entries so far the fixed ones. hasRoomFor keeps `reserved` places free for attributes that are set
    /// without asking it.
    void endFixed(std::size_t reserved = 0);
    /// Returns true when `type` can be set: it is fixed, or a place is free.
    [[nodiscard]] bool hasRoomFor(CK_ATTRIBUTE_TYPE type) const;

    /// Position of the last entry that was set for `type`, nullopt when `type` was never set.
    [[nodiscard]] std::optional<std::size_t> find(CK_ATTRIBUTE_TYPE type) const;

    /// For Cryptoki calls; null when the template is empty, as the calls want it. A fresh copy of the entries each
    /// time: what a module writes into it changes nothing here.
    [[nodiscard]] CK_ATTRIBUTE* entries();
    [[nodiscard]] CK_ULONG count() const { return static_cast<CK_ULONG>(m_count); }
    [[nodiscard]] const CK_ATTRIBUTE& at(std::size_t index) const { return m_entries.at(index).sent; }
    [[nodiscard]] std::span<const std::uint8_t> valueAt(std::size_t index) const;

private:
    struct Entry {
        CK_ATTRIBUTE_TYPE setFor = 0;     ///< the attribute that it was set for
        CK_ATTRIBUTE_TYPE presetType = 0; ///< of its place
        CK_ATTRIBUTE sent{};              ///< points to one of the two values
        CK_ULONG number = 0;              ///< also a boolean
        SecretBuffer bytes;

        void send(CK_ATTRIBUTE_TYPE type, void* value, std::size_t length) {
            sent = {type, value, static_cast<CK_ULONG>(length)};
        }
    };

    [[nodiscard]] std::optional<std::size_t> findFixed(CK_ATTRIBUTE_TYPE type) const;
    /// The fixed entry for `type`, else a new one; null when there is no room.
    Entry* entryFor(CK_ATTRIBUTE_TYPE type);

    std::array<Entry, kCapacity> m_entries;
    std::array<CK_ATTRIBUTE, kCapacity> m_handedOut{};
    std::size_t m_capacity;
    std::size_t m_count = 0;
    std::size_t m_fixedCount = 0;
    std::size_t m_reserved = 0;
};

} // namespace plugin
