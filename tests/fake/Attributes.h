#pragma once

#include "cryptoki/cryptoki.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Fake {

/// "0AFF" from two bytes, and back. `bytes` throws std::invalid_argument for text that is not hexadecimal.
[[nodiscard]] std::string hex(std::string_view bytes);
[[nodiscard]] std::string bytes(std::string_view hexText);
/// The bytes of a CK_ULONG on this system: four or eight, least significant first.
[[nodiscard]] std::string ulongBytes(CK_ULONG value);

/// The attributes of an object, built in one expression:
/// `Attributes().number(CKA_CLASS, CKO_PRIVATE_KEY).boolean(CKA_TOKEN, true).hex(CKA_ID, "01")`.
class Attributes {
public:
    Attributes& number(CK_ATTRIBUTE_TYPE type, CK_ULONG value);
    Attributes& boolean(CK_ATTRIBUTE_TYPE type, bool value);
    Attributes& hex(CK_ATTRIBUTE_TYPE type, std::string_view hexText);
    Attributes& raw(CK_ATTRIBUTE_TYPE type, std::string_view bytes);

    /// The bytes of one attribute as hexadecimal text, or as number or boolean; nullopt when it is not there (or has
    /// another length).
    [[nodiscard]] std::optional<std::string> hexOf(CK_ATTRIBUTE_TYPE type) const;
    [[nodiscard]] std::optional<CK_ULONG> numberOf(CK_ATTRIBUTE_TYPE type) const;
    [[nodiscard]] std::optional<bool> booleanOf(CK_ATTRIBUTE_TYPE type) const;

    /// As a call line shows a template: "[CKA_CLASS=3 CKA_TOKEN=true]".
    [[nodiscard]] std::string text() const;

    /// For Cryptoki calls; valid until this object changes.
    [[nodiscard]] std::vector<CK_ATTRIBUTE> list() const;

    bool operator==(const Attributes&) const = default;

private:
    struct Entry {
        CK_ATTRIBUTE_TYPE type;
        std::string value;
        bool operator==(const Entry&) const = default;
    };
    std::vector<Entry> m_entries;
};

} // namespace Fake
