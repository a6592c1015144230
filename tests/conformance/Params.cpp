#include "tests/conformance/Params.h"

#include "tests/conformance/Utf8.h"
#include "tests/fake/Attributes.h"

namespace Conformance {

namespace {

std::string toBase64(std::string_view bytes) {
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        unsigned group = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            group = group << 8 | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0U);
        }
        text += kDigits[group >> 18 & 63];
        text += kDigits[group >> 12 & 63];
        text += i + 1 < bytes.size() ? kDigits[group >> 6 & 63] : '=';
        text += i + 2 < bytes.size() ? kDigits[group & 63] : '=';
    }
    return text;
}

} // namespace

Zel::TString toTString(std::string_view utf8) {
    const std::wstring wide = wideFromUtf8(utf8);
    return {wide.c_str(), static_cast<int>(wide.size())};
}

std::string toUtf8(const Zel::TString& text) {
    return utf8FromWide({text.data(), text.length()});
}

Params Params::null() {
    Params params;
    params.m_null = true;
    return params;
}

Params& Params::plain(std::string_view id, std::string_view value) {
    return add(id, 2, 3, value);
}

Params& Params::hex(std::string_view id, std::string_view hexText) {
    return add(id, 4, 0, hexText);
}

Params& Params::text(std::string_view id, std::string_view utf8) {
    return add(id, 0, 3, utf8);
}

Params& Params::rawText(std::string_view id, std::string_view utf8) {
    return add(id, 0, 0, utf8);
}

Params& Params::base64(std::string_view id, std::string_view base64) {
    return add(id, 1, 2, base64);
}

Params& Params::bytes(std::string_view id, std::string_view hexText) {
    return base64(id, toBase64(Fake::bytes(hexText)));
}

Params& Params::add(std::string_view id, int encoding, int type, std::string_view value) {
    m_null = false;
    m_entries.push_back({std::string(id), encoding, type, std::string(value)});
    return *this;
}

Params& Params::append(const Params& other) {
    m_null = m_null && other.m_null;
    m_entries.insert(m_entries.end(), other.m_entries.begin(), other.m_entries.end());
    return *this;
}

std::vector<std::string> Params::ids() const {
    std::vector<std::string> result;
    for (const Entry& entry : m_entries) {
        result.push_back(entry.id);
    }
    return result;
}

ParameterVector Params::vector() const {
    if (m_null) {
        return nullptr;
    }
    ParameterVector result(new Zel::Vector<Zel::Parameter>());
    for (const Entry& entry : m_entries) {
        result->add(Zel::Parameter(static_cast<Zel::ParameterEncoding>(entry.encoding), toTString(entry.id),
                                   static_cast<Zel::ParameterType>(entry.type), toTString(entry.value)));
    }
    return result;
}

} // namespace Conformance
