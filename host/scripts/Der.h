#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "text/Wiped.h"

namespace host {

/// The tags that a caller may expect.
inline constexpr std::uint8_t kDerInteger = 0x02;
inline constexpr std::uint8_t kDerSequence = 0x30;

/// The reason why `bytes` is not exactly one DER value with this tag, "it does not begin with a sequence"; empty when
/// it is one. Checks lengths, not the content.
[[nodiscard]] std::string derFault(std::string_view bytes, std::uint8_t tag);

/// The same for a certificate and for an unencrypted PKCS #8 private key, by the tags of their parts.
[[nodiscard]] std::string certificateFault(std::string_view der);
[[nodiscard]] std::string privateKeyFault(std::string_view der);

/// Returns true when the text has the frame of a PEM file.
[[nodiscard]] bool isPem(std::string_view text);

/// Replaces PEM text by the DER of its one block with this label ("CERTIFICATE"). Blocks with other labels are left
/// out. Returns what is wrong, with `file` as it was; empty when nothing is.
[[nodiscard]] std::string pemToDer(WipedBytes& file, std::string_view label);

} // namespace host
