#pragma once

#include <string>
#include <string_view>

#include "host/x509/Bytes.h"

namespace host::x509 {

/// The DER of a subject that a person writes as "/C=DE/O=Example/CN=Jane Doe", in UTF-8 and in this order.
///
/// A type is a short name (C, ST, L, STREET, O, OU, CN, SN, GN, T, UID, DC, serialNumber, emailAddress) or a dotted
/// identifier. A backslash takes '/', '\', '=', '+' and ',' as they are; a plus sign has to be written "\+". UsageError
/// says at which part the subject is wrong: no type, an unknown one, no value, a value longer than certificates allow,
/// control characters, text that is not UTF-8.
[[nodiscard]] Bytes parseSubject(std::string_view subject);

/// A DER name as text, in the form of RFC 4514: "CN=Jane Doe,O=Example,C=DE", the last part first, in UTF-8; what
/// cannot be shown is escaped. Types without a short name are dotted identifiers. Empty for the empty name, UsageError
/// with `name` in front for bytes that are no name.
[[nodiscard]] std::string nameText(ByteView der, const std::string& name);

} // namespace host::x509
