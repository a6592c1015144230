#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "cryptoki/Names.h"
#include "cryptoki/cryptoki.h"
#include "watch/record/RecordReader.h"

// The values of a record, as PKCS#11 has them on this system: a record may come from one whose numbers are wider.

namespace watch {

using ByteVector = std::vector<std::uint8_t>;

/// The member of an object; null where there is no such member or no object.
[[nodiscard]] const Json& memberOf(const Json& object, const char* key);
/// A number, where -1 means all bits of a CK_ULONG. Damaged values are 0.
[[nodiscard]] CK_ULONG numberOf(const Json& value);
/// A number by its name or as "0x...".
[[nodiscard]] CK_ULONG namedNumber(cryptoki::NameKind kind, const Json& value);
/// The bytes of upper-case hexadecimal digits; empty for damaged ones.
[[nodiscard]] ByteVector bytesOf(const Json& digits);
/// The bytes of a text, or of {"hex":"..."}.
[[nodiscard]] ByteVector textOf(const Json& value);

/// One attribute of a template in a record.
struct RecordedAttribute {
    CK_ATTRIBUTE_TYPE type = 0;
    CK_ULONG length = 0;             ///< on this system
    std::optional<ByteVector> value; ///< nullopt when the record has none; zeros for a masked one
};

[[nodiscard]] RecordedAttribute attributeOf(const Json& entry);
[[nodiscard]] CK_ATTRIBUTE_TYPE attributeType(const Json& entry);

} // namespace watch
