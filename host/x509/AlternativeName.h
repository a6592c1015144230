#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/x509/Bytes.h"

namespace host::x509 {

/// A name for the extension subjectAltName.
struct AlternativeName {
    std::uint8_t tag = 0; ///< of GeneralName, RFC 5280, 4.2.1.6: 1 e-mail, 2 DNS, 6 URI, 7 IP address
    Bytes value;

    /// From "DNS:host.example", "IP:192.0.2.1", "IP:2001:db8::1", "email:jane@example.org" or "URI:https://…".
    /// UsageError says what is wrong with any other text.
    [[nodiscard]] static AlternativeName parse(std::string_view text);
};

} // namespace host::x509
