#pragma once

#include "cryptoki/cryptoki.h"

#include <string>

// The pieces of recorded lines. The grammar is described in Fake.h.

namespace Fake {

/// Whether a template gives values or asks for them (then lengths stand in place of values).
enum class Pass { Given, Asked };

/// "0x1f", or "none" with all bits set.
[[nodiscard]] std::string handleText(CK_ULONG value);
/// "31", or "none" with all bits set.
[[nodiscard]] std::string decimalText(CK_ULONG value);
/// Upper-case hexadecimal digits, "empty", "null/n" or "unreadable/none".
[[nodiscard]] std::string bytesText(const void* data, CK_ULONG length);
/// "[CKA_CLASS=3 CKA_TOKEN=true]", or "null/n".
[[nodiscard]] std::string templateText(const CK_ATTRIBUTE* list, CK_ULONG length, Pass pass);

} // namespace Fake
