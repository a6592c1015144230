#include "tests/fuzz/Input.h"
#include "tests/fuzz/Models.h"
#include "tests/fuzz/Targets.h"
#include "util/Conversions.h"

namespace {

using Fuzz::require;

/// An encoding's functions and their models.
struct Encoding {
    SecretBuffer (*decode)(const Zel::TString& text, std::uint32_t* length);
    Zel::TString (*encode)(const std::uint8_t* bytes, std::size_t length);
    std::optional<std::string> (*bytesOf)(std::wstring_view text);
    std::wstring (*textOf)(std::string_view bytes);
};
constexpr Encoding kBase64 = {TStringB642Binary, Binary2TStringB64, Fuzz::bytesOfBase64, Fuzz::base64Of};
constexpr Encoding kHexadecimal = {TStringHex2Binary, Binary2TStringHex, Fuzz::bytesOfHexadecimal, Fuzz::hexadecimalOf};

std::string contentOf(const SecretBuffer& buffer) {
    return {reinterpret_cast<const char*>(buffer.data()), buffer.size()};
}

void decode(const Encoding& encoding, const std::wstring& text) {
    const std::optional<std::string> expected = encoding.bytesOf(text);
    std::uint32_t length = 0;
    const SecretBuffer bytes = encoding.decode({text.data(), static_cast<int>(text.size())}, &length);
    require(bytes.isNull() != expected.has_value(), "the decoder accepts what the model accepts");
    if (!expected) {
        require(length == 0xFFFFFFFF, "the length says that text is not decodable");
        return;
    }
    require(length == expected->size(), "the length is the model's");
    require(contentOf(bytes) == *expected && bytes.data()[bytes.size()] == 0, "bytes are the model's");
}

void encode(const Encoding& encoding, const std::string& bytes) {
    const Zel::TString text = encoding.encode(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    require(std::wstring(text.data(), text.length()) == encoding.textOf(bytes), "encoded text is the model's");
    require(contentOf(encoding.decode(text, nullptr)) == bytes, "bytes come back");
}

void decodeAndEncode(const Encoding& encoding, const Fuzz::Input& input) {
    decode(encoding, Fuzz::Input(input).restAsText());
    encode(encoding, Fuzz::Input(input).rest());
}

} // namespace

void Fuzz::base64(const std::uint8_t* data, std::size_t size) {
    decodeAndEncode(kBase64, Input(data, size));
}

void Fuzz::hexadecimal(const std::uint8_t* data, std::size_t size) {
    decodeAndEncode(kHexadecimal, Input(data, size));
}
