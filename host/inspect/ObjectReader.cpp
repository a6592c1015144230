#include "host/inspect/ObjectReader.h"

#include <algorithm>
#include <array>
#include <bit>

#include "host/inspect/ModuleView.h"

namespace host {

namespace {

constexpr std::size_t kMostObjects = std::size_t{1} << 16;
constexpr CK_ULONG kBatch = 64;
constexpr std::size_t kLongestAttribute = std::size_t{1} << 20;
constexpr std::size_t kMostBytes = std::size_t{256} << 20;
constexpr CK_ATTRIBUTE_TYPE kContainerName = CKA_VENDOR_DEFINED | 8U;

/// One object whose attributes are read one by one: a token answers for those that it has.
class Attributes {
public:
    Attributes(const ModuleCalls& module, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, std::size_t& budget)
        : m_module(module), m_session(session), m_object(object), m_budget(budget) {}

    /// Empty when the token does not show it, or shows nonsense.
    [[nodiscard]] std::string bytes(CK_ATTRIBUTE_TYPE type) const {
        const std::optional<std::size_t> length = lengthOf(type);
        if (!length || *length > kLongestAttribute || *length > m_budget) {
            return {};
        }
        std::string value(*length, '\0');
        CK_ATTRIBUTE attribute = {type, value.data(), static_cast<CK_ULONG>(value.size())};
        if (read(attribute) != CKR_OK || attribute.ulValueLen > value.size()) {
            return {};
        }
        m_budget -= attribute.ulValueLen;
        value.resize(attribute.ulValueLen);
        return value;
    }

    [[nodiscard]] std::optional<std::size_t> lengthOf(CK_ATTRIBUTE_TYPE type) const {
        CK_ATTRIBUTE attribute = {type, nullptr, 0};
        const bool isKnown = read(attribute) == CKR_OK && attribute.ulValueLen != static_cast<CK_ULONG>(-1);
        return isKnown ? std::optional<std::size_t>(attribute.ulValueLen) : std::nullopt;
    }

    template <class Value>
    [[nodiscard]] std::optional<Value> fixed(CK_ATTRIBUTE_TYPE type) const {
        Value value = 0;
        CK_ATTRIBUTE attribute = {type, &value, sizeof value};
        const bool isRead = read(attribute) == CKR_OK && attribute.ulValueLen == sizeof value;
        return isRead ? std::optional<Value>(value) : std::nullopt;
    }

    [[nodiscard]] bool isTrue(CK_ATTRIBUTE_TYPE type) const { return fixed<CK_BBOOL>(type).value_or(CK_FALSE) != 0; }

private:
    [[nodiscard]] CK_RV read(CK_ATTRIBUTE& attribute) const {
        return m_module.call<&CK_FUNCTION_LIST::C_GetAttributeValue>(m_session, m_object, &attribute, 1);
    }

    const ModuleCalls& m_module;
    CK_SESSION_HANDLE m_session;
    CK_OBJECT_HANDLE m_object;
    std::size_t& m_budget;
};

struct Name {
    CK_ULONG number;
    const char* text;
};

constexpr std::array kKeyTypes = {Name{CKK_RSA, "RSA"},   Name{CKK_DSA, "DSA"},   Name{CKK_DH, "DH"},
                                  Name{CKK_EC, "EC"},     Name{CKK_AES, "AES"},   Name{CKK_DES, "DES"},
                                  Name{CKK_DES2, "DES2"}, Name{CKK_DES3, "DES3"}, Name{CKK_GENERIC_SECRET, "generic"}};
constexpr std::array kUsages = {Name{CKA_SIGN, "sign"},       Name{CKA_SIGN_RECOVER, "sign-recover"},
                                Name{CKA_DECRYPT, "decrypt"}, Name{CKA_UNWRAP, "unwrap"},
                                Name{CKA_VERIFY, "verify"},   Name{CKA_VERIFY_RECOVER, "verify-recover"},
                                Name{CKA_ENCRYPT, "encrypt"}, Name{CKA_WRAP, "wrap"},
                                Name{CKA_DERIVE, "derive"}};

ObjectClass classOf(CK_OBJECT_CLASS number) {
    switch (number) {
    case CKO_CERTIFICATE:
        return ObjectClass::Certificate;
    case CKO_PRIVATE_KEY:
        return ObjectClass::PrivateKey;
    case CKO_PUBLIC_KEY:
        return ObjectClass::PublicKey;
    case CKO_SECRET_KEY:
        return ObjectClass::SecretKey;
    case CKO_DATA:
        return ObjectClass::Data;
    default:
        return ObjectClass::Other;
    }
}

bool isKey(ObjectClass objectClass) {
    return objectClass == ObjectClass::PrivateKey || objectClass == ObjectClass::PublicKey ||
           objectClass == ObjectClass::SecretKey;
}

void readCertificate(const Attributes& attributes, ObjectView& object) {
    const bool isX509 = attributes.fixed<CK_CERTIFICATE_TYPE>(CKA_CERTIFICATE_TYPE).value_or(CKC_X_509) == CKC_X_509;
    object.type = isX509 ? "X.509" : "";
    object.value = attributes.bytes(CKA_VALUE);
    object.size = object.value.size();
    object.subject = attributes.bytes(CKA_SUBJECT);
    object.issuer = attributes.bytes(CKA_ISSUER);
    object.serial = attributes.bytes(CKA_SERIAL_NUMBER);
}

/// Bits of a number without zero bytes in front.
std::uint64_t bitsOf(const std::string& number) {
    const unsigned int first = number.empty() ? 0U : static_cast<unsigned char>(number.front());
    return number.empty() ? 0 : (number.size() - 1) * 8 + static_cast<std::uint64_t>(std::bit_width(first));
}

std::string withoutLeadingZeros(const std::string& number) {
    return number.substr(std::min(number.find_first_not_of('\0'), number.size()));
}

void readKey(const Attributes& attributes, ObjectView& object) {
    const CK_KEY_TYPE type = attributes.fixed<CK_KEY_TYPE>(CKA_KEY_TYPE).value_or(static_cast<CK_KEY_TYPE>(-1));
    const auto* known =
        std::find_if(kKeyTypes.begin(), kKeyTypes.end(), [&](const Name& n) { return n.number == type; });
    object.type = known == kKeyTypes.end() ? "" : known->text;
    for (const Name& usage : kUsages) {
        if (attributes.isTrue(usage.number)) {
            object.usage.emplace_back(usage.text);
        }
    }
    if (object.objectClass == ObjectClass::SecretKey) {
        const std::optional<CK_ULONG> length = attributes.fixed<CK_ULONG>(CKA_VALUE_LEN);
        object.size = length ? std::optional<std::uint64_t>(std::uint64_t{*length} * 8) : std::nullopt;
    } else if (type == CKK_RSA) {
        object.modulus = withoutLeadingZeros(attributes.bytes(CKA_MODULUS));
        object.exponent = withoutLeadingZeros(attributes.bytes(CKA_PUBLIC_EXPONENT));
        object.size = bitsOf(object.modulus);
    }
    if (object.objectClass == ObjectClass::PrivateKey) {
        object.containerName = attributes.bytes(kContainerName);
    }
}

ObjectView readObject(const Attributes& attributes) {
    ObjectView object;
    object.objectClass =
        classOf(attributes.fixed<CK_OBJECT_CLASS>(CKA_CLASS).value_or(static_cast<CK_OBJECT_CLASS>(-1)));
    object.label = attributes.bytes(CKA_LABEL);
    object.isPrivate = attributes.isTrue(CKA_PRIVATE);
    object.isModifiable = attributes.fixed<CK_BBOOL>(CKA_MODIFIABLE).value_or(CK_TRUE) != 0;
    if (object.objectClass == ObjectClass::Data) {
        object.size = attributes.lengthOf(CKA_VALUE);
        return object;
    }
    object.id = attributes.bytes(CKA_ID);
    if (object.objectClass == ObjectClass::Certificate) {
        readCertificate(attributes, object);
    } else if (isKey(object.objectClass)) {
        readKey(attributes, object);
    }
    return object;
}

std::vector<CK_OBJECT_HANDLE> findObjects(const ModuleCalls& module, CK_SESSION_HANDLE session) {
    CK_BBOOL isOnToken = CK_TRUE;
    CK_ATTRIBUTE searched = {CKA_TOKEN, &isOnToken, sizeof isOnToken};
    requireOk(module.call<&CK_FUNCTION_LIST::C_FindObjectsInit>(session, &searched, 1), "C_FindObjectsInit");
    std::vector<CK_OBJECT_HANDLE> found;
    CK_RV rv = CKR_OK;
    for (CK_ULONG count = 1; rv == CKR_OK && count != 0 && found.size() <= kMostObjects;) {
        std::array<CK_OBJECT_HANDLE, kBatch> handles = {};
        count = 0;
        rv = module.call<&CK_FUNCTION_LIST::C_FindObjects>(session, handles.data(), kBatch, &count);
        if (rv == CKR_OK) {
            found.insert(found.end(), handles.begin(), handles.begin() + std::min(count, kBatch));
        }
    }
    [[maybe_unused]] const CK_RV ended = module.call<&CK_FUNCTION_LIST::C_FindObjectsFinal>(session);
    requireOk(found.size() > kMostObjects ? CKR_GENERAL_ERROR : rv, "C_FindObjects");
    return found;
}

} // namespace

const char* nameOf(ObjectClass objectClass) {
    constexpr std::array kNames = {"certificate", "private-key", "public-key", "secret-key", "data", "other"};
    return kNames.at(static_cast<std::size_t>(objectClass));
}

std::vector<ObjectView> readObjects(const ModuleCalls& module, CK_SESSION_HANDLE session) {
    std::vector<ObjectView> objects;
    std::size_t budget = kMostBytes;
    for (const CK_OBJECT_HANDLE handle : findObjects(module, session)) {
        objects.push_back(readObject(Attributes(module, session, handle, budget)));
    }
    return objects;
}

} // namespace host
