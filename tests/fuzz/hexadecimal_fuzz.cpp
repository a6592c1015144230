#include <vector>

#include "platform/Encoding.h"
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
    const std::optional<std::size_t> length = platform::decodeHexadecimal(text.data(), text.size(), nullptr, 0);
    require(length.has_value() == expected.has_value(), "the decoder accepts what the model accepts");

    std::uint32_t told = 0;
    const SecretBuffer bytes = TStringHex2Binary({text.data(), static_cast<int>(text.size())}, &told);
    require(bytes.isNull() != expected.has_value(), "text that is not decodable gives a null buffer");
    if (!expected) {
        require(told == 0xFFFFFFFF, "text that is not decodable is told by its length");
        return;
    }
    require(*length == expected->size() && told == expected->size(), "lengths are the model's");
    require(textOf(bytes) == *expected && bytes.data()[bytes.size()] == 0, "bytes are the model's");
    std::vector<std::uint8_t> tight(*length - 1, 0x5A);
    std::uint8_t nowhere = 0x5A;
    std::uint8_t* const target = tight.empty() ? &nowhere : tight.data();
    require(!platform::decodeHexadecimal(text.data(), text.size(), target, tight.size()), "too little room is refused");
    require(nowhere == 0x5A, "nothing is written where there is no room");
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
