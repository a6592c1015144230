#pragma once

#include "cryptoki/cryptoki.h"

namespace Fake {

enum class AttributeKind { Bytes, Number, Boolean };

/// Name of an attribute ("CKA_CLASS"), null when it has none, and what its value is.
struct AttributeType {
    const char* name;
    AttributeKind kind;
};
[[nodiscard]] AttributeType attributeType(CK_ATTRIBUTE_TYPE type);

} // namespace Fake
