#include "tests/fake/TemplateText.h"

#include "tests/fake/AttributeKinds.h"

#include <cstdio>
#include <cstring>

namespace Fake {

namespace {

constexpr CK_ULONG kAllOnes = static_cast<CK_ULONG>(-1);

std::string valueText(const CK_ATTRIBUTE& entry) {
    const bool readable = entry.pValue != nullptr && entry.ulValueLen != kAllOnes && entry.ulValueLen != 0;
    const AttributeKind kind = attributeType(entry.type).kind;
    if (!readable || kind == AttributeKind::Bytes) {
        return bytesText(entry.pValue, entry.ulValueLen);
    }
    if (kind == AttributeKind::Number && entry.ulValueLen == sizeof(CK_ULONG)) {
        CK_ULONG number = 0;
        std::memcpy(&number, entry.pValue, sizeof(number));
        return decimalText(number);
    }
    const auto first = *static_cast<const unsigned char*>(entry.pValue);
    if (kind == AttributeKind::Boolean && entry.ulValueLen == 1 && first <= 1) {
        return first == 1 ? "true" : "false";
    }
    return bytesText(entry.pValue, entry.ulValueLen) + "/" + std::to_string(entry.ulValueLen);
}

std::string askedText(const CK_ATTRIBUTE& entry) {
    std::string text = entry.pValue == nullptr ? "null/" : "room/";
    return text.append(decimalText(entry.ulValueLen));
}

} // namespace

std::string handleText(CK_ULONG value) {
    if (value == kAllOnes) {
        return "none";
    }
    char text[24];
    std::snprintf(text, sizeof(text), "0x%llx", static_cast<unsigned long long>(value));
    return text;
}

std::string decimalText(CK_ULONG value) {
    return value == kAllOnes ? "none" : std::to_string(value);
}

std::string bytesText(const void* data, CK_ULONG length) {
    if (data == nullptr) {
        return std::string("null/").append(decimalText(length));
    }
    if (length == kAllOnes) {
        return "unreadable/none";
    }
    if (length == 0) {
        return "empty";
    }
    constexpr char kDigits[] = "0123456789ABCDEF";
    const auto* bytes = static_cast<const unsigned char*>(data);
    std::string text;
    text.reserve(static_cast<std::size_t>(length) * 2);
    for (CK_ULONG i = 0; i < length; ++i) {
        text += kDigits[bytes[i] >> 4];
        text += kDigits[bytes[i] & 0xF];
    }
    return text;
}

std::string templateText(const CK_ATTRIBUTE* list, CK_ULONG length, Pass pass) {
    if (list == nullptr) {
        return std::string("null/").append(decimalText(length));
    }
    std::string text = "[";
    for (CK_ULONG i = 0; i < length; ++i) {
        const char* name = attributeType(list[i].type).name;
        text += i == 0 ? "" : " ";
        text += name != nullptr ? std::string(name) : handleText(list[i].type);
        text += '=';
        text += pass == Pass::Given ? valueText(list[i]) : askedText(list[i]);
    }
    return text + "]";
}

} // namespace Fake
