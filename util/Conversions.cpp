#include "util/Conversions.h"

#include <cstring>
#include <limits>
#include <new>
#include <string_view>

#include "ry/rylog.h"
#include "text/Base64.h"
#include "text/Hexadecimal.h"
#include "text/Utf8.h"

namespace {

using Content = Zel::TString::Content;

constexpr std::uint32_t kNotDecodable = 0xFFFFFFFF;
/// As long as a TString can be.
constexpr auto kLongestText = static_cast<std::size_t>(std::numeric_limits<int>::max()) / sizeof(wchar_t);

/// A text of `length` characters, set in their place by `write`. Throws std::bad_alloc, also for one that is too long.
template <class Write>
Zel::TString makeText(std::size_t length, Zel::TString::Content content, Write write) {
    if (length > kLongestText) {
        throw std::bad_alloc();
    }
    Zel::TString text;
    write(text.fill(length, content));
    return text;
}

SecretBuffer withLength(SecretBuffer bytes, std::uint32_t* length) {
    if (bytes.size() >= kNotDecodable) {
        bytes.clear();
    }
    if (length != nullptr) {
        *length = bytes.isNull() ? kNotDecodable : static_cast<std::uint32_t>(bytes.size());
    }
    return bytes;
}

SecretBuffer toUtf8(std::wstring_view wide) {
    SecretBuffer utf8(text::wideToUtf8(wide.data(), wide.size(), nullptr, 0));
    auto* const target = reinterpret_cast<char*>(utf8.data());
    utf8.truncate(text::wideToUtf8(wide.data(), wide.size(), target, utf8.size()));
    return utf8;
}

Zel::TString toText(std::string_view utf8) {
    const std::size_t length = text::utf8ToWide(utf8.data(), utf8.size(), nullptr, 0);
    return makeText(length, Content::Secret, [&](wchar_t* target) {
        static_cast<void>(text::utf8ToWide(utf8.data(), utf8.size(), target, length));
    });
}

Zel::TString hexOfUtf8(const Zel::TString& text) {
    const SecretBuffer utf8 = TString2Utf8(text);
    return Binary2TStringHex(utf8.data(), utf8.size());
}

Zel::TString hexOfBase64(const Zel::TString& text) {
    const SecretBuffer bytes = TStringB642Binary(text);
    return Binary2TStringHex(bytes.data(), bytes.size());
}

} // namespace

Zel::TString getValueFromEncoding(const Zel::Parameter& parameter) {
    const Zel::TString& value = parameter.getValue();
    switch (parameter.getEncodingEnum()) {
    case Zel::ParameterEncoding::Text:
        return parameter.getTypeEnum() == Zel::ParameterType::Raw ? value : hexOfUtf8(value);
    case Zel::ParameterEncoding::Base64:
        return hexOfBase64(value);
    case Zel::ParameterEncoding::Plain:
    case Zel::ParameterEncoding::Hexadecimal:
        return value;
    }
    rylogLog(L"ZEL-COE-PKCS11", 1, L"PKCS11Client::getValueFromEncoding: --> default case");
    return {};
}

SecretBuffer TStringB642Binary(const Zel::TString& text, std::uint32_t* length) {
    return withLength(text::decodeBase64({text.data(), text.length()}), length);
}

SecretBuffer TStringHex2Binary(const Zel::TString& text, std::uint32_t* length) {
    return withLength(text::decodeHexadecimal({text.data(), text.length()}), length);
}

Zel::TString Binary2TStringB64(const std::uint8_t* bytes, std::size_t length) {
    return makeText(text::base64Length(length), Content::Public, [&](wchar_t* target) {
        text::encodeBase64({bytes, length}, target);
    });
}

Zel::TString Binary2TStringHex(const std::uint8_t* bytes, std::size_t length) {
    if (length > kLongestText) {
        throw std::bad_alloc();
    }
    return makeText(length * 2, Content::Secret, [&](wchar_t* target) {
        text::encodeHexadecimal({bytes, length}, target);
    });
}

SecretBuffer TString2Utf8(const Zel::TString& text) {
    const std::wstring_view wide(text.data(), text.length());
    return toUtf8(wide.substr(0, wide.find(L'\0')));
}

SecretBuffer WChar2Utf8(const wchar_t* wide) {
    return toUtf8(wide == nullptr ? std::wstring_view() : std::wstring_view(wide));
}

Zel::TString Utf82TString(const char* utf8) {
    return utf8 == nullptr ? Zel::TString() : toText(utf8);
}

Zel::TString Utf82TString(const std::uint8_t* utf8, std::size_t length) {
    const std::string_view bytes(reinterpret_cast<const char*>(utf8), length);
    return toText(bytes.substr(0, bytes.find('\0')));
}

Zel::Parameter makeHexParameter(const Zel::TString& id, const char* utf8) {
    const std::size_t length = utf8 == nullptr ? 0 : std::strlen(utf8);
    return makeParameter(id, Binary2TStringHex(reinterpret_cast<const std::uint8_t*>(utf8), length));
}

Zel::Parameter makeParameter(const Zel::TString& id, const Zel::TString& value) {
    return {Zel::ParameterEncoding::Hexadecimal, id, Zel::ParameterType::Raw, value};
}
