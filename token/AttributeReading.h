#pragma once

#include <span>

#include "text/SecretBuffer.h"
#include "token/Session.h"

namespace scripts {

/// An attribute to read, and what was read.
struct ReadAttribute {
    CK_ATTRIBUTE_TYPE type;
    SecretBuffer value;
};

/// Reads attributes of one object: a call for the lengths, one for the values. A length that is none, or that grew
/// beyond its buffer, is a failure as CKR_GENERAL_ERROR; one that no memory can be had for, as CKR_HOST_MEMORY.
/// Several attributes are told with their index ("Template[0]"), a single one without.
[[nodiscard]] CK_RV readAttributes(const Session& session, const Trace& trace, CK_OBJECT_HANDLE hObject,
                                   std::span<ReadAttribute> attributes);

} // namespace scripts
