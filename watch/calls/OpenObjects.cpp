#include "watch/calls/OpenObjects.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace watch {

namespace {

/// Of the standard, of the trust modules of p11-kit and of NSS.
constexpr std::array<CK_OBJECT_CLASS, 8> kOpenClasses{
    CKO_CERTIFICATE, CKO_PUBLIC_KEY, CKO_HW_FEATURE, CKO_DOMAIN_PARAMETERS, CKO_MECHANISM,
    0xCE534353U,  // NSS: trust
    0xCE534354U,  // NSS: list of built-in objects
    0xD8444764U}; // p11-kit: trust assertion

} // namespace

std::optional<CK_OBJECT_CLASS> classIn(const CK_ATTRIBUTE& attribute) noexcept {
    CK_OBJECT_CLASS objectClass = 0;
    if (attribute.type != CKA_CLASS || attribute.pValue == nullptr || attribute.ulValueLen != sizeof objectClass) {
        return std::nullopt;
    }
    std::memcpy(&objectClass, attribute.pValue, sizeof objectClass);
    return objectClass;
}

bool isOpenClass(CK_OBJECT_CLASS objectClass) noexcept {
    return std::ranges::find(kOpenClasses, objectClass) != kOpenClasses.end();
}

bool isOpenTemplate(const CK_ATTRIBUTE* attributes, CK_ULONG count) noexcept {
    bool isNamed = false;
    if (count > kMostAttributes) {
        return false;
    }
    for (CK_ULONG i = 0; attributes != nullptr && i < count; ++i) {
        if (attributes[i].type != CKA_CLASS) {
            continue;
        }
        const std::optional<CK_OBJECT_CLASS> objectClass = classIn(attributes[i]);
        if (!objectClass || !isOpenClass(*objectClass)) {
            return false;
        }
        isNamed = true;
    }
    return isNamed;
}

bool namesOpenClass(FunctionId id, Words words) noexcept {
    return (id == FunctionId::C_CreateObject || id == FunctionId::C_FindObjectsInit) &&
           isOpenTemplate(pointer<CK_ATTRIBUTE>(words[1]), static_cast<CK_ULONG>(words[2]));
}

} // namespace watch
