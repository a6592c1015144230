#include "util/Conversions.h"

#include <array>
#include <cstring>
#include <limits>
#include <new>
#include <optional>
#include <string_view>

#include "platform/Encoding.h"
#include "platform/SecureZero.h"
#include "ry/rylog.h"

namespace {

constexpr std::uint32_t kNotDecodable = 0xFFFFFFFF;

/// Room for wide text on its way into a TString, which cannot be written into. Wiped, for the text may be a secret;
/// texts up to the Base64 of a 4096-bit signature need no heap.
class WideText {
public:
    /// Room for `length` characters. Throws std::bad_alloc, also for a text longer than a TString can be.
    explicit WideText(std::size_t length) {
        if (length > static_cast<std::size_t>(std::numeric_limits<int>::max()) / sizeof(wchar_t)) {
            throw std::bad_alloc();
        }
        m_length = length;
        if (length > m_short.size()) {
            m_long = SecretBuffer::unfilled(length * sizeof(wchar_t));
            m_pText = reinterpret_cast<wchar_t*>(m_long.data());
        }
    }
    WideText(const WideText&) = delete;
    WideText& operator=(const WideText&) = delete;
    ~WideText() {
        if (m_long.isNull()) {
            platform::secureZero(m_pText, m_length * sizeof(wchar_t));
        }
    }

    [[nodiscard]] wchar_t* data() noexcept { return m_pText; }
    [[nodiscard]] Zel::TString take(std::size_t length) const { return {m_pText, static_cast<int>(length)}; }

private:
    std::array<wchar_t, 700> m_short;
    SecretBuffer m_long;
    wchar_t* m_pText = m_short.data();
    std::size_t m_length = 0;
};

using Decoder = std::optional<std::size_t> (*)(const wchar_t*, std::size_t, std::uint8_t*, std::size_t) noexcept;

SecretBuffer decode(const Zel::TString& text, std::uint32_t* length, Decoder decoder) {
    // No encoding has fewer characters than bytes: enough room at once saves a pass.
    SecretBuffer bytes = SecretBuffer::unfilled(text.length());
    const std::optional<std::size_t> count = decoder(text.data(), text.length(), bytes.data(), bytes.size());
    if (count && *count < kNotDecodable) {
        bytes.truncate(*count);
    } else {
        bytes.clear();
    }
    if (length != nullptr) {
        *length = bytes.isNull() ? kNotDecodable : static_cast<std::uint32_t>(bytes.size());
    }
    return bytes;
}

SecretBuffer toUtf8(std::wstring_view wide) {
    SecretBuffer utf8 = SecretBuffer::unfilled(platform::wideToUtf8(wide.data(), wide.size(), nullptr, 0));
    auto* const target = reinterpret_cast<char*>(utf8.data());
    utf8.truncate(platform::wideToUtf8(wide.data(), wide.size(), target, utf8.size()));
    return utf8;
}

Zel::TString toText(std::string_view utf8) {
    const std::size_t needed = platform::utf8ToWide(utf8.data(), utf8.size(), nullptr, 0);
    WideText wide(needed);
    return wide.take(platform::utf8ToWide(utf8.data(), utf8.size(), wide.data(), needed));
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
    return decode(text, length, platform::decodeBase64);
}

SecretBuffer TStringHex2Binary(const Zel::TString& text, std::uint32_t* length) {
    return decode(text, length, platform::decodeHexadecimal);
}

Zel::TString Binary2TStringB64(const std::uint8_t* bytes, std::size_t length) {
    const std::size_t needed = platform::encodeBase64(bytes, length, nullptr, 0);
    WideText text(needed);
    return text.take(platform::encodeBase64(bytes, length, text.data(), needed));
}

Zel::TString Binary2TStringHex(const std::uint8_t* bytes, std::size_t length) {
    static constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
    if (length > std::numeric_limits<std::size_t>::max() / 2) {
        throw std::bad_alloc();
    }
    WideText text(length * 2);
    wchar_t* target = text.data();
    for (std::size_t i = 0; i < length; ++i) {
        const unsigned int byte = bytes[i];
        *target++ = kDigits[byte >> 4];
        *target++ = kDigits[byte & 0xF];
    }
    return text.take(length * 2);
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
