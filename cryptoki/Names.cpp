#include "cryptoki/Names.h"

#include <algorithm>
#include <array>

#include "cryptoki/cryptoki.h"

namespace cryptoki {

namespace {

struct Attribute {
    NamedNumber named;
    AttributeForm form;
};

#define ATTRIBUTE(number, form)                                                                                        \
    Attribute {                                                                                                        \
        {number, #number}, AttributeForm::form                                                                         \
    }
constexpr std::array kAttributes{
    ATTRIBUTE(CKA_CLASS, Class),
    ATTRIBUTE(CKA_TOKEN, Boolean),
    ATTRIBUTE(CKA_PRIVATE, Boolean),
    ATTRIBUTE(CKA_LABEL, Text),
    ATTRIBUTE(CKA_APPLICATION, Text),
    ATTRIBUTE(CKA_VALUE, Bytes),
    ATTRIBUTE(CKA_OBJECT_ID, Bytes),
    ATTRIBUTE(CKA_CERTIFICATE_TYPE, CertificateType),
    ATTRIBUTE(CKA_ISSUER, Bytes),
    ATTRIBUTE(CKA_SERIAL_NUMBER, Bytes),
    ATTRIBUTE(CKA_AC_ISSUER, Bytes),
    ATTRIBUTE(CKA_OWNER, Bytes),
    ATTRIBUTE(CKA_ATTR_TYPES, Bytes),
    ATTRIBUTE(CKA_TRUSTED, Boolean),
    ATTRIBUTE(CKA_CERTIFICATE_CATEGORY, Number),
    ATTRIBUTE(CKA_JAVA_MIDP_SECURITY_DOMAIN, Number),
    ATTRIBUTE(CKA_URL, Text),
    ATTRIBUTE(CKA_HASH_OF_SUBJECT_PUBLIC_KEY, Bytes),
    ATTRIBUTE(CKA_HASH_OF_ISSUER_PUBLIC_KEY, Bytes),
    ATTRIBUTE(CKA_NAME_HASH_ALGORITHM, Mechanism),
    ATTRIBUTE(CKA_CHECK_VALUE, Bytes),
    ATTRIBUTE(CKA_KEY_TYPE, KeyType),
    ATTRIBUTE(CKA_SUBJECT, Bytes),
    ATTRIBUTE(CKA_ID, Bytes),
    ATTRIBUTE(CKA_SENSITIVE, Boolean),
    ATTRIBUTE(CKA_ENCRYPT, Boolean),
    ATTRIBUTE(CKA_DECRYPT, Boolean),
    ATTRIBUTE(CKA_WRAP, Boolean),
    ATTRIBUTE(CKA_UNWRAP, Boolean),
    ATTRIBUTE(CKA_SIGN, Boolean),
    ATTRIBUTE(CKA_SIGN_RECOVER, Boolean),
    ATTRIBUTE(CKA_VERIFY, Boolean),
    ATTRIBUTE(CKA_VERIFY_RECOVER, Boolean),
    ATTRIBUTE(CKA_DERIVE, Boolean),
    ATTRIBUTE(CKA_START_DATE, Text),
    ATTRIBUTE(CKA_END_DATE, Text),
    ATTRIBUTE(CKA_MODULUS, Bytes),
    ATTRIBUTE(CKA_MODULUS_BITS, Number),
    ATTRIBUTE(CKA_PUBLIC_EXPONENT, Bytes),
    ATTRIBUTE(CKA_PRIVATE_EXPONENT, Bytes),
    ATTRIBUTE(CKA_PRIME_1, Bytes),
    ATTRIBUTE(CKA_PRIME_2, Bytes),
    ATTRIBUTE(CKA_EXPONENT_1, Bytes),
    ATTRIBUTE(CKA_EXPONENT_2, Bytes),
    ATTRIBUTE(CKA_COEFFICIENT, Bytes),
    ATTRIBUTE(CKA_PUBLIC_KEY_INFO, Bytes),
    ATTRIBUTE(CKA_PRIME, Bytes),
    ATTRIBUTE(CKA_SUBPRIME, Bytes),
    ATTRIBUTE(CKA_BASE, Bytes),
    ATTRIBUTE(CKA_PRIME_BITS, Number),
    ATTRIBUTE(CKA_VALUE_BITS, Number),
    ATTRIBUTE(CKA_VALUE_LEN, Number),
    ATTRIBUTE(CKA_EXTRACTABLE, Boolean),
    ATTRIBUTE(CKA_LOCAL, Boolean),
    ATTRIBUTE(CKA_NEVER_EXTRACTABLE, Boolean),
    ATTRIBUTE(CKA_ALWAYS_SENSITIVE, Boolean),
    ATTRIBUTE(CKA_KEY_GEN_MECHANISM, Mechanism),
    ATTRIBUTE(CKA_MODIFIABLE, Boolean),
    ATTRIBUTE(CKA_COPYABLE, Boolean),
    ATTRIBUTE(CKA_DESTROYABLE, Boolean),
    ATTRIBUTE(CKA_EC_PARAMS, Bytes),
    ATTRIBUTE(CKA_EC_POINT, Bytes),
    ATTRIBUTE(CKA_SECONDARY_AUTH, Boolean),
    ATTRIBUTE(CKA_AUTH_PIN_FLAGS, Number),
    ATTRIBUTE(CKA_ALWAYS_AUTHENTICATE, Boolean),
    ATTRIBUTE(CKA_WRAP_WITH_TRUSTED, Boolean),
    ATTRIBUTE(CKA_OTP_FORMAT, Number),
    ATTRIBUTE(CKA_OTP_LENGTH, Number),
    ATTRIBUTE(CKA_OTP_TIME_INTERVAL, Number),
    ATTRIBUTE(CKA_OTP_USER_FRIENDLY_MODE, Boolean),
    ATTRIBUTE(CKA_OTP_CHALLENGE_REQUIREMENT, Number),
    ATTRIBUTE(CKA_OTP_TIME_REQUIREMENT, Number),
    ATTRIBUTE(CKA_OTP_COUNTER_REQUIREMENT, Number),
    ATTRIBUTE(CKA_OTP_PIN_REQUIREMENT, Number),
    ATTRIBUTE(CKA_OTP_USER_IDENTIFIER, Text),
    ATTRIBUTE(CKA_OTP_SERVICE_IDENTIFIER, Text),
    ATTRIBUTE(CKA_OTP_SERVICE_LOGO, Bytes),
    ATTRIBUTE(CKA_OTP_SERVICE_LOGO_TYPE, Text),
    ATTRIBUTE(CKA_OTP_COUNTER, Bytes),
    ATTRIBUTE(CKA_OTP_TIME, Text),
    ATTRIBUTE(CKA_GOSTR3410_PARAMS, Bytes),
    ATTRIBUTE(CKA_GOSTR3411_PARAMS, Bytes),
    ATTRIBUTE(CKA_GOST28147_PARAMS, Bytes),
    ATTRIBUTE(CKA_HW_FEATURE_TYPE, Number),
    ATTRIBUTE(CKA_RESET_ON_INIT, Boolean),
    ATTRIBUTE(CKA_HAS_RESET, Boolean),
    ATTRIBUTE(CKA_PIXEL_X, Number),
    ATTRIBUTE(CKA_PIXEL_Y, Number),
    ATTRIBUTE(CKA_RESOLUTION, Number),
    ATTRIBUTE(CKA_CHAR_ROWS, Number),
    ATTRIBUTE(CKA_CHAR_COLUMNS, Number),
    ATTRIBUTE(CKA_COLOR, Boolean),
    ATTRIBUTE(CKA_BITS_PER_PIXEL, Number),
    ATTRIBUTE(CKA_CHAR_SETS, Text),
    ATTRIBUTE(CKA_ENCODING_METHODS, Text),
    ATTRIBUTE(CKA_MIME_TYPES, Text),
    ATTRIBUTE(CKA_MECHANISM_TYPE, Mechanism),
    ATTRIBUTE(CKA_REQUIRED_CMS_ATTRIBUTES, Bytes),
    ATTRIBUTE(CKA_DEFAULT_CMS_ATTRIBUTES, Bytes),
    ATTRIBUTE(CKA_SUPPORTED_CMS_ATTRIBUTES, Bytes),
    ATTRIBUTE(CKA_WRAP_TEMPLATE, Template),
    ATTRIBUTE(CKA_UNWRAP_TEMPLATE, Template),
    ATTRIBUTE(CKA_DERIVE_TEMPLATE, Template),
    ATTRIBUTE(CKA_ALLOWED_MECHANISMS, Mechanisms),
    ATTRIBUTE(CKA_SUB_PRIME_BITS, Number),
};
#undef ATTRIBUTE

#define NAME(number)                                                                                                   \
    NamedNumber {                                                                                                      \
        number, #number                                                                                                \
    }
constexpr std::array kClasses{
    NAME(CKO_DATA),       NAME(CKO_CERTIFICATE), NAME(CKO_PUBLIC_KEY),        NAME(CKO_PRIVATE_KEY),
    NAME(CKO_SECRET_KEY), NAME(CKO_HW_FEATURE),  NAME(CKO_DOMAIN_PARAMETERS), NAME(CKO_MECHANISM),
    NAME(CKO_OTP_KEY),
};
constexpr std::array kKeyTypes{
    NAME(CKK_RSA),
    NAME(CKK_DSA),
    NAME(CKK_DH),
    NAME(CKK_EC),
    NAME(CKK_X9_42_DH),
    NAME(CKK_KEA),
    NAME(CKK_GENERIC_SECRET),
    NAME(CKK_RC2),
    NAME(CKK_RC4),
    NAME(CKK_DES),
    NAME(CKK_DES2),
    NAME(CKK_DES3),
    NAME(CKK_CAST),
    NAME(CKK_CAST3),
    NAME(CKK_CAST128),
    NAME(CKK_RC5),
    NAME(CKK_IDEA),
    NAME(CKK_SKIPJACK),
    NAME(CKK_BATON),
    NAME(CKK_JUNIPER),
    NAME(CKK_CDMF),
    NAME(CKK_AES),
    NAME(CKK_BLOWFISH),
    NAME(CKK_TWOFISH),
    NAME(CKK_SECURID),
    NAME(CKK_HOTP),
    NAME(CKK_ACTI),
    NAME(CKK_CAMELLIA),
    NAME(CKK_ARIA),
    NAME(CKK_MD5_HMAC),
    NAME(CKK_SHA_1_HMAC),
    NAME(CKK_RIPEMD128_HMAC),
    NAME(CKK_RIPEMD160_HMAC),
    NAME(CKK_SHA256_HMAC),
    NAME(CKK_SHA384_HMAC),
    NAME(CKK_SHA512_HMAC),
    NAME(CKK_SHA224_HMAC),
    NAME(CKK_SEED),
    NAME(CKK_GOSTR3410),
    NAME(CKK_GOSTR3411),
    NAME(CKK_GOST28147),
    NAME(CKK_EC_EDWARDS),
};
constexpr std::array kCertificateTypes{
    NAME(CKC_X_509),
    NAME(CKC_X_509_ATTR_CERT),
    NAME(CKC_WTLS),
};
constexpr std::array kUserTypes{NAME(CKU_SO), NAME(CKU_USER), NAME(CKU_CONTEXT_SPECIFIC)};
constexpr std::array kSessionStates{NAME(CKS_RO_PUBLIC_SESSION), NAME(CKS_RO_USER_FUNCTIONS),
                                    NAME(CKS_RW_PUBLIC_SESSION), NAME(CKS_RW_USER_FUNCTIONS),
                                    NAME(CKS_RW_SO_FUNCTIONS)};
#undef NAME

/// Sorted by number, so that the numbers of a long template are found in no time.
constexpr auto kSortedAttributes = [] {
    auto sorted = kAttributes;
    std::ranges::sort(sorted, {}, [](const Attribute& attribute) { return attribute.named.number; });
    return sorted;
}();

const Attribute* findAttribute(std::uint64_t type) noexcept {
    const auto* found = std::ranges::lower_bound(kSortedAttributes, type, {},
                                                 [](const Attribute& attribute) { return attribute.named.number; });
    return found != kSortedAttributes.end() && found->named.number == type ? found : nullptr;
}

std::span<const NamedNumber> tableOf(NameKind kind) noexcept {
    switch (kind) {
    case NameKind::Class:
        return kClasses;
    case NameKind::KeyType:
        return kKeyTypes;
    case NameKind::CertificateType:
        return kCertificateTypes;
    case NameKind::Mechanism:
        return mechanismNames();
    case NameKind::UserType:
        return kUserTypes;
    case NameKind::SessionState:
        return kSessionStates;
    default:
        return {};
    }
}

} // namespace

std::string_view nameOf(NameKind kind, std::uint64_t number) noexcept {
    if (kind == NameKind::Attribute) {
        const Attribute* const found = findAttribute(number);
        return found == nullptr ? std::string_view() : found->named.name;
    }
    const std::span<const NamedNumber> table = tableOf(kind);
    const auto found = std::ranges::lower_bound(table, number, {}, &NamedNumber::number);
    return found != table.end() && found->number == number ? found->name : std::string_view();
}

std::optional<std::uint64_t> numberOf(NameKind kind, std::string_view name) noexcept {
    if (kind == NameKind::Attribute) {
        const auto* found = std::ranges::find_if(
            kAttributes, [name](const Attribute& attribute) { return attribute.named.name == name; });
        return found == kAttributes.end() ? std::nullopt : std::optional(found->named.number);
    }
    const std::span<const NamedNumber> table = tableOf(kind);
    const auto found = std::ranges::find(table, name, &NamedNumber::name);
    return found == table.end() ? std::nullopt : std::optional(found->number);
}

AttributeForm attributeForm(std::uint64_t type) noexcept {
    const Attribute* const found = findAttribute(type);
    return found == nullptr ? AttributeForm::Bytes : found->form;
}

std::optional<NameKind> nameKindOf(AttributeForm form) noexcept {
    switch (form) {
    case AttributeForm::Class:
        return NameKind::Class;
    case AttributeForm::KeyType:
        return NameKind::KeyType;
    case AttributeForm::CertificateType:
        return NameKind::CertificateType;
    case AttributeForm::Mechanism:
        return NameKind::Mechanism;
    default:
        return std::nullopt;
    }
}

} // namespace cryptoki
