#include "watch/calls/AttributeText.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "watch/calls/OpenObjects.h"

namespace watch {

namespace {

using cryptoki::AttributeForm;
using cryptoki::NameKind;

constexpr std::array<CK_ATTRIBUTE_TYPE, 6> kKeyComponents{CKA_PRIVATE_EXPONENT, CKA_PRIME_1,    CKA_PRIME_2,
                                                          CKA_EXPONENT_1,       CKA_EXPONENT_2, CKA_COEFFICIENT};

/// Templates in templates are as deep as the standard has them.
constexpr int kDeepest = 1;

using Bytes = std::span<const std::uint8_t>;

void writeValues(JsonLine& line, const CK_ATTRIBUTE* attributes, CK_ULONG count, bool isOpen, int depth) noexcept;

CK_ULONG numberIn(Bytes value) noexcept {
    CK_ULONG number = 0;
    std::memcpy(&number, value.data(), sizeof number);
    return number;
}

void writeMechanisms(JsonLine& line, Bytes value) noexcept {
    line.open('[');
    for (; value.size() >= sizeof(CK_ULONG); value = value.subspan(sizeof(CK_ULONG))) {
        writeNamed(line, NameKind::Mechanism, numberIn(value));
    }
    line.close(']');
}

/// A value that has not the length of its form: its bytes, up to that length. What stands behind them may be anything.
void writeOddValue(JsonLine& line, Bytes value, std::size_t length) noexcept {
    line.open('{').key("hex").bytes(value.first(std::min(value.size(), length))).close('}');
}

void writeNumber(JsonLine& line, AttributeForm form, Bytes value) noexcept {
    if (value.size() != sizeof(CK_ULONG)) {
        writeOddValue(line, value, sizeof(CK_ULONG));
    } else if (const std::optional<NameKind> kind = cryptoki::nameKindOf(form)) {
        writeNamed(line, *kind, numberIn(value));
    } else {
        line.length(numberIn(value));
    }
}

void writeForm(JsonLine& line, AttributeForm form, Bytes value, int depth) noexcept {
    switch (form) {
    case AttributeForm::Boolean:
        if (value.size() != 1 || value[0] > 1) {
            return writeOddValue(line, value, 1);
        }
        line.boolean(value[0] == 1);
        return;
    case AttributeForm::Text:
        line.text(value);
        return;
    case AttributeForm::Bytes:
        line.bytes(value);
        return;
    case AttributeForm::Mechanisms:
        return writeMechanisms(line, value);
    case AttributeForm::Template:
        return writeValues(line, reinterpret_cast<const CK_ATTRIBUTE*>(value.data()),
                           static_cast<CK_ULONG>(value.size() / sizeof(CK_ATTRIBUTE)), false, depth + 1);
    default:
        return writeNumber(line, form, value);
    }
}

void writeHead(JsonLine& line, const CK_ATTRIBUTE& attribute, CK_ULONG length) noexcept {
    line.open('{').key("type");
    writeNamed(line, NameKind::Attribute, attribute.type);
    line.key("length").length(length);
}

void writeValue(JsonLine& line, const CK_ATTRIBUTE& attribute, CK_ULONG length, bool isOpen, int depth) noexcept {
    const AttributeForm form = cryptoki::attributeForm(attribute.type);
    if (attribute.pValue == nullptr) {
        line.key("value").null();
    } else if (isMasked(attribute.type, isOpen) || (form == AttributeForm::Template && depth == kDeepest)) {
        line.key("value").name("masked");
    } else if (length <= kLongestValue) {
        line.key("value");
        writeForm(line, form, {static_cast<const std::uint8_t*>(attribute.pValue), length}, depth);
    }
}

void writeValues(JsonLine& line, const CK_ATTRIBUTE* attributes, CK_ULONG count, bool isOpen, int depth) noexcept {
    line.open('[');
    for (CK_ULONG i = 0; i < count && count <= kMostAttributes && !line.hasFailed(); ++i) {
        writeHead(line, attributes[i], attributes[i].ulValueLen);
        if (attributes[i].ulValueLen != CK_UNAVAILABLE_INFORMATION) {
            writeValue(line, attributes[i], attributes[i].ulValueLen, isOpen, depth);
        }
        line.close('}');
    }
    line.close(']');
}

/// The numbers that a mechanism's parameter begins with.
struct Numbers {
    CK_MECHANISM_TYPE first;
    CK_MECHANISM_TYPE last;
    std::array<const char*, 3> names;
};

constexpr std::array kNumbers{
    Numbers{CKM_RSA_PKCS_PSS, CKM_SHA1_RSA_PKCS_PSS, {"hashAlg", "mgf", "sLen"}},
    Numbers{CKM_SHA256_RSA_PKCS_PSS, CKM_SHA512_RSA_PKCS_PSS, {"hashAlg", "mgf", "sLen"}},
    Numbers{CKM_SHA224_RSA_PKCS_PSS, CKM_SHA224_RSA_PKCS_PSS, {"hashAlg", "mgf", "sLen"}},
    Numbers{CKM_RSA_PKCS_OAEP, CKM_RSA_PKCS_OAEP, {"hashAlg", "mgf", "source"}},
    Numbers{CKM_ECDH1_DERIVE, CKM_ECMQV_DERIVE, {"kdf"}},
    Numbers{CKM_AES_CTR, CKM_AES_CTR, {"counterBits"}},
    Numbers{CKM_CAMELLIA_CTR, CKM_CAMELLIA_CTR, {"counterBits"}},
    Numbers{CKM_DES_MAC_GENERAL, CKM_DES_MAC_GENERAL, {"macLength"}},
    Numbers{CKM_DES3_MAC_GENERAL, CKM_DES3_MAC_GENERAL, {"macLength"}},
    Numbers{CKM_DES3_CMAC_GENERAL, CKM_DES3_CMAC_GENERAL, {"macLength"}},
    Numbers{CKM_AES_MAC_GENERAL, CKM_AES_MAC_GENERAL, {"macLength"}},
    Numbers{CKM_AES_CMAC_GENERAL, CKM_AES_CMAC_GENERAL, {"macLength"}},
    Numbers{CKM_MD5_HMAC_GENERAL, CKM_MD5_HMAC_GENERAL, {"macLength"}},
    Numbers{CKM_RIPEMD160_HMAC_GENERAL, CKM_RIPEMD160_HMAC_GENERAL, {"macLength"}},
    Numbers{CKM_SHA_1_HMAC_GENERAL, CKM_SHA_1_HMAC_GENERAL, {"macLength"}},
    Numbers{CKM_SHA224_HMAC_GENERAL, CKM_SHA224_HMAC_GENERAL, {"macLength"}},
    Numbers{CKM_SHA256_HMAC_GENERAL, CKM_SHA256_HMAC_GENERAL, {"macLength"}},
    Numbers{CKM_SHA384_HMAC_GENERAL, CKM_SHA384_HMAC_GENERAL, {"macLength"}},
    Numbers{CKM_SHA512_HMAC_GENERAL, CKM_SHA512_HMAC_GENERAL, {"macLength"}},
};

void writeParameter(JsonLine& line, const CK_MECHANISM& mechanism) noexcept {
    line.open('{').key("length").length(mechanism.ulParameterLen);
    const auto* const found = std::ranges::find_if(kNumbers, [&](const Numbers& numbers) {
        return mechanism.mechanism >= numbers.first && mechanism.mechanism <= numbers.last;
    });
    const auto* const bytes = static_cast<const std::uint8_t*>(mechanism.pParameter);
    CK_ULONG at = 0;
    for (const char* const name : found == kNumbers.end() ? std::array<const char*, 3>{} : found->names) {
        if (name != nullptr && mechanism.ulParameterLen - at >= sizeof(CK_ULONG)) {
            line.key(name).length(numberIn({bytes + at, sizeof(CK_ULONG)}));
            at += static_cast<CK_ULONG>(sizeof(CK_ULONG));
        }
    }
    if (at < mechanism.ulParameterLen) {
        line.key("value").name("masked");
    }
    line.close('}');
}

} // namespace

bool isMasked(CK_ATTRIBUTE_TYPE type, bool isOpen) noexcept {
    if (std::ranges::find(kKeyComponents, type) != kKeyComponents.end()) {
        return true;
    }
    return !isOpen && (type == CKA_VALUE || cryptoki::nameOf(NameKind::Attribute, type).empty());
}

void writeNamed(JsonLine& line, NameKind kind, std::uint64_t number) noexcept {
    const std::string_view name = cryptoki::nameOf(kind, number);
    if (name.empty()) {
        line.hexNumber(number);
    } else {
        line.name(name);
    }
}

void writeTemplate(JsonLine& line, const CK_ATTRIBUTE* attributes, CK_ULONG count, bool isOpen) noexcept {
    if (attributes == nullptr) {
        line.null();
    } else {
        writeValues(line, attributes, count, isOpen, 0);
    }
}

void writeQuery(JsonLine& line, const CK_ATTRIBUTE* attributes, std::span<const CK_ULONG> rooms) noexcept {
    if (attributes == nullptr) {
        line.null();
        return;
    }
    line.open('[');
    for (std::size_t i = 0; i < rooms.size(); ++i) {
        writeHead(line, attributes[i], attributes[i].pValue == nullptr ? 0 : rooms[i]);
        if (attributes[i].pValue == nullptr) {
            line.key("value").null();
        }
        line.close('}');
    }
    line.close(']');
}

void writeAnswer(JsonLine& line, const CK_ATTRIBUTE* attributes, std::span<const CK_ULONG> rooms, bool isOpen,
                 bool isComplete) noexcept {
    std::size_t answered = rooms.size();
    while (!isComplete && answered > 0 && attributes[answered - 1].ulValueLen == rooms[answered - 1]) {
        --answered;
    }
    line.open('[');
    for (std::size_t i = 0; i < rooms.size(); ++i) {
        const CK_ATTRIBUTE& attribute = attributes[i];
        writeHead(line, attribute, attribute.ulValueLen);
        const bool isFilled = attribute.ulValueLen <= rooms[i] && attribute.ulValueLen != CK_UNAVAILABLE_INFORMATION;
        if (attribute.pValue != nullptr && isFilled && i < answered) {
            // A template in it has been filled by the module, and its lengths may mean more than the buffers have.
            const bool isTemplate = cryptoki::attributeForm(attribute.type) == AttributeForm::Template;
            writeValue(line, attribute, attribute.ulValueLen, isOpen, isTemplate ? kDeepest : 0);
        }
        line.close('}');
    }
    line.close(']');
}

void writeMechanism(JsonLine& line, const CK_MECHANISM* mechanism) noexcept {
    if (mechanism == nullptr) {
        line.null();
        return;
    }
    line.open('{').key("type");
    writeNamed(line, NameKind::Mechanism, mechanism->mechanism);
    line.key("parameter");
    if (mechanism->pParameter == nullptr) {
        line.null();
    } else {
        writeParameter(line, *mechanism);
    }
    line.close('}');
}

} // namespace watch
