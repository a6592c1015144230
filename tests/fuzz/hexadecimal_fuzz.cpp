#include "tests/fuzz/Input.h"
#include "tests/fuzz/Models.h"
#include "tests/fuzz/Targets.h"
#include "util/Conversions.h"

namespace {

using Fuzz::require;

std::string textOf(const SecretBuffer& buffer) {
    return {reinterpret_cast<const char*>(buffer.data()), buffer.size()};
}

void decode(const std::wstring& text) {
    const std::optional<std::string> expected = Fuzz::bytesOfHexadecimal(text);
    std::uint32_t told = 0;
    const SecretBuffer bytes = TStringHex2Binary({text.data(), static_cast<int>(text.size())}, &told);
    require(bytes.isNull() != expected.has_value(), "the decoder accepts what the model accepts");
    if (!expected) {
        require(told == 0xFFFFFFFF, "text that is not decodable is told by its length");
        return;
    }
    require(told == expected->size(), "the length is the model's");
    require(textOf(bytes) == *expected && bytes.data()[bytes.size()] == 0, "bytes are the model's");
}

void encode(const std::string& bytes) {
    const Zel::TString text = Binary2TStringHex(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    require(std::wstring(text.data(), text.length()) == Fuzz::hexadecimalOf(bytes), "encoded text is the model's");
    require(textOf(TStringHex2Binary(text)) == bytes, "bytes come back");
}

} // namespace

void Fuzz::hexadecimal(const std::uint8_t* data, std::size_t size) {
    decode(Input(data, size).restAsText());
    encode(Input(data, size).rest());
}
