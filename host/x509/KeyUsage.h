#pragma once

#include <bitset>
#include <string>
#include <string_view>
#include <vector>

namespace host::x509 {

/// The key usage of a certificate or request; bits are numbered as RFC 5280, 4.2.1.3 numbers them.
using KeyUsage = std::bitset<9>;

/// Names of the bits that are set, as RFC 5280 writes them: "digitalSignature", "keyEncipherment" …
[[nodiscard]] std::vector<std::string> usageNames(KeyUsage usage);

/// The usage of a list such as "digitalSignature,keyEncipherment". UsageError, with the names that there are, for an
/// unknown one and for an empty list.
[[nodiscard]] KeyUsage parseKeyUsage(std::string_view list);

} // namespace host::x509
