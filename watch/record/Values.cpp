#include "watch/record/Values.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace watch {

namespace {

using cryptoki::AttributeForm;
using cryptoki::NameKind;

/// A masked value is at most as long as what a token holds.
constexpr CK_ULONG kLongestMasked = 1U << 20U;

ByteVector bytesOfNumber(CK_ULONG number) {
    ByteVector bytes(sizeof number);
    std::memcpy(bytes.data(), &number, sizeof number);
    return bytes;
}

ByteVector mechanismsOf(const Json& names) {
    ByteVector bytes;
    for (const Json& name : names) {
        const ByteVector number = bytesOfNumber(namedNumber(NameKind::Mechanism, name));
        bytes.insert(bytes.end(), number.begin(), number.end());
    }
    return bytes;
}

bool isNumber(AttributeForm form) noexcept {
    return form == AttributeForm::Number || cryptoki::nameKindOf(form);
}

ByteVector valueOf(AttributeForm form, const Json& value) {
    if (value.is_object() || form == AttributeForm::Text) {
        return textOf(value);
    }
    if (form == AttributeForm::Boolean) {
        return {static_cast<std::uint8_t>(value == true ? 1 : 0)};
    }
    if (form == AttributeForm::Number) {
        return bytesOfNumber(numberOf(value));
    }
    if (const std::optional<NameKind> kind = cryptoki::nameKindOf(form)) {
        return bytesOfNumber(namedNumber(*kind, value));
    }
    return form == AttributeForm::Mechanisms ? mechanismsOf(value) : bytesOf(value);
}

} // namespace

const Json& memberOf(const Json& object, const char* key) {
    static const Json kNull;
    const auto found = object.is_object() ? object.find(key) : object.end();
    return object.is_object() && found != object.end() ? *found : kNull;
}

CK_ULONG numberOf(const Json& value) {
    if (value.is_number_unsigned()) {
        return static_cast<CK_ULONG>(value.get<std::uint64_t>());
    }
    return value == -1 ? static_cast<CK_ULONG>(-1) : 0;
}

CK_ULONG namedNumber(NameKind kind, const Json& value) {
    if (!value.is_string()) {
        return numberOf(value);
    }
    const auto& name = value.get_ref<const std::string&>();
    if (const std::optional<std::uint64_t> number = cryptoki::numberOf(kind, name)) {
        return static_cast<CK_ULONG>(*number);
    }
    std::uint64_t number = 0;
    if (name.starts_with("0x")) {
        std::from_chars(name.data() + 2, name.data() + name.size(), number, 16);
    }
    return static_cast<CK_ULONG>(number);
}

ByteVector bytesOf(const Json& digits) {
    ByteVector bytes;
    if (!digits.is_string()) {
        return bytes;
    }
    const auto& text = digits.get_ref<const std::string&>();
    for (std::size_t at = 0; at + 1 < text.size(); at += 2) {
        std::uint8_t byte = 0;
        std::from_chars(text.data() + at, text.data() + at + 2, byte, 16);
        bytes.push_back(byte);
    }
    return bytes;
}

ByteVector textOf(const Json& value) {
    if (!value.is_string()) {
        return bytesOf(memberOf(value, "hex"));
    }
    const auto& text = value.get_ref<const std::string&>();
    return {text.begin(), text.end()};
}

CK_ATTRIBUTE_TYPE attributeType(const Json& entry) {
    return namedNumber(NameKind::Attribute, memberOf(entry, "type"));
}

RecordedAttribute attributeOf(const Json& entry) {
    RecordedAttribute attribute;
    attribute.type = attributeType(entry);
    attribute.length = numberOf(memberOf(entry, "length"));
    const AttributeForm form = cryptoki::attributeForm(attribute.type);
    const Json& value = memberOf(entry, "value");
    if (value == "masked") {
        attribute.value.emplace(std::min(attribute.length, kLongestMasked));
    } else if (!value.is_null()) {
        attribute.value = valueOf(form, value);
    }
    if (attribute.value) {
        attribute.length = static_cast<CK_ULONG>(attribute.value->size());
    } else if (isNumber(form) && (attribute.length == 4 || attribute.length == 8)) {
        attribute.length = sizeof(CK_ULONG);
    }
    return attribute;
}

} // namespace watch
