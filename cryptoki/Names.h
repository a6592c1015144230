#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

// Names of the standard's numbers, without the PKCS #11 types. ResultNames.h has those of results.

namespace cryptoki {

/// A kind of number that has names of its own.
enum class NameKind { Attribute, Class, KeyType, CertificateType, Mechanism, UserType, SessionState };

/// How the value of an attribute is built.
enum class AttributeForm {
    Bytes,
    Boolean,
    Number,
    Class,
    KeyType,
    CertificateType,
    Mechanism,
    Text,
    Mechanisms,
    Template
};

/// The standard's name of a number, "CKA_LABEL"; empty where the standard has none.
[[nodiscard]] std::string_view nameOf(NameKind kind, std::uint64_t number) noexcept;
/// The number that has this name; nullopt when the standard knows no such name.
[[nodiscard]] std::optional<std::uint64_t> numberOf(NameKind kind, std::string_view name) noexcept;
/// Bytes for an attribute that the standard does not know.
[[nodiscard]] AttributeForm attributeForm(std::uint64_t type) noexcept;

/// The names that the value of an attribute of this form has; nullopt for one without names.
[[nodiscard]] std::optional<NameKind> nameKindOf(AttributeForm form) noexcept;

/// One name, in a table that is sorted by number; the first of several names of a number is the one to show.
struct NamedNumber {
    std::uint64_t number;
    std::string_view name;
};
[[nodiscard]] std::span<const NamedNumber> mechanismNames() noexcept;

} // namespace cryptoki
