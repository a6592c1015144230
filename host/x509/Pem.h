#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/x509/Bytes.h"
#include "text/SecretBuffer.h"

namespace host::x509 {

/// One piece of a PEM file: what stands between "-----BEGIN LABEL-----" and "-----END LABEL-----".
struct PemBlock {
    std::string label;
    bool isEncrypted = false; ///< has "Proc-Type: 4,ENCRYPTED", the old way; `bytes` is null then
    SecretBuffer bytes;
};

/// Returns true when a line "-----BEGIN …" is there: everything else is taken for DER.
[[nodiscard]] bool isPem(ByteView file) noexcept;

/// All blocks in their order; text around them is skipped. `name` stands before the reason in errors, for example
/// `file "a.pem"`. UsageError for a block without end, or without Base64 between its two lines.
[[nodiscard]] std::vector<PemBlock> readPem(ByteView file, const std::string& name);

/// Lines of 64 characters between the two lines of the label, each line with its end.
[[nodiscard]] std::string writePem(std::string_view label, ByteView der);

} // namespace host::x509
