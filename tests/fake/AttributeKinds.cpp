#include "tests/fake/AttributeKinds.h"

namespace Fake {

AttributeType attributeType(CK_ATTRIBUTE_TYPE type) {
    switch (type) {
#define ENTRY(name)                                                                                                    \
    case name:                                                                                                         \
        return {#name, AttributeKind::Number};
        ENTRY(CKA_CLASS)
        ENTRY(CKA_CERTIFICATE_TYPE)
        ENTRY(CKA_CERTIFICATE_CATEGORY)
        ENTRY(CKA_JAVA_MIDP_SECURITY_DOMAIN)
        ENTRY(CKA_NAME_HASH_ALGORITHM)
        ENTRY(CKA_KEY_TYPE)
        ENTRY(CKA_MODULUS_BITS)
        ENTRY(CKA_PRIME_BITS)
        ENTRY(CKA_SUB_PRIME_BITS)
        ENTRY(CKA_VALUE_BITS)
        ENTRY(CKA_VALUE_LEN)
        ENTRY(CKA_KEY_GEN_MECHANISM)
        ENTRY(CKA_HW_FEATURE_TYPE)
        ENTRY(CKA_MECHANISM_TYPE)
        ENTRY(CKA_AUTH_PIN_FLAGS)
#undef ENTRY
#define ENTRY(name)                                                                                                    \
    case name:                                                                                                         \
        return {#name, AttributeKind::Boolean};
        ENTRY(CKA_TOKEN)
        ENTRY(CKA_PRIVATE)
        ENTRY(CKA_TRUSTED)
        ENTRY(CKA_SENSITIVE)
        ENTRY(CKA_ENCRYPT)
        ENTRY(CKA_DECRYPT)
        ENTRY(CKA_WRAP)
        ENTRY(CKA_UNWRAP)
        ENTRY(CKA_SIGN)
        ENTRY(CKA_SIGN_RECOVER)
        ENTRY(CKA_VERIFY)
        ENTRY(CKA_VERIFY_RECOVER)
        ENTRY(CKA_DERIVE)
        ENTRY(CKA_EXTRACTABLE)
        ENTRY(CKA_LOCAL)
        ENTRY(CKA_NEVER_EXTRACTABLE)
        ENTRY(CKA_ALWAYS_SENSITIVE)
        ENTRY(CKA_MODIFIABLE)
        ENTRY(CKA_COPYABLE)
        ENTRY(CKA_DESTROYABLE)
        ENTRY(CKA_ALWAYS_AUTHENTICATE)
        ENTRY(CKA_WRAP_WITH_TRUSTED)
        ENTRY(CKA_SECONDARY_AUTH)
        ENTRY(CKA_RESET_ON_INIT)
        ENTRY(CKA_HAS_RESET)
#undef ENTRY
#define ENTRY(name)                                                                                                    \
    case name:                                                                                                         \
        return {#name, AttributeKind::Bytes};
        ENTRY(CKA_LABEL)
        ENTRY(CKA_APPLICATION)
        ENTRY(CKA_VALUE)
        ENTRY(CKA_OBJECT_ID)
        ENTRY(CKA_ISSUER)
        ENTRY(CKA_SERIAL_NUMBER)
        ENTRY(CKA_AC_ISSUER)
        ENTRY(CKA_OWNER)
        ENTRY(CKA_ATTR_TYPES)
        ENTRY(CKA_URL)
        ENTRY(CKA_HASH_OF_SUBJECT_PUBLIC_KEY)
        ENTRY(CKA_HASH_OF_ISSUER_PUBLIC_KEY)
        ENTRY(CKA_CHECK_VALUE)
        ENTRY(CKA_SUBJECT)
        ENTRY(CKA_ID)
        ENTRY(CKA_START_DATE)
        ENTRY(CKA_END_DATE)
        ENTRY(CKA_MODULUS)
        ENTRY(CKA_PUBLIC_EXPONENT)
        ENTRY(CKA_PRIVATE_EXPONENT)
        ENTRY(CKA_PRIME_1)
        ENTRY(CKA_PRIME_2)
        ENTRY(CKA_EXPONENT_1)
        ENTRY(CKA_EXPONENT_2)
        ENTRY(CKA_COEFFICIENT)
        ENTRY(CKA_PUBLIC_KEY_INFO)
        ENTRY(CKA_PRIME)
        ENTRY(CKA_SUBPRIME)
        ENTRY(CKA_BASE)
        ENTRY(CKA_EC_PARAMS)
        ENTRY(CKA_EC_POINT)
        ENTRY(CKA_WRAP_TEMPLATE)
        ENTRY(CKA_UNWRAP_TEMPLATE)
        ENTRY(CKA_DERIVE_TEMPLATE)
        ENTRY(CKA_ALLOWED_MECHANISMS)
#undef ENTRY
    default:
        return {nullptr, AttributeKind::Bytes};
    }
}

} // namespace Fake
