#include <vector>

#include "tests/fuzz/Input.h"
#include "tests/fuzz/Models.h"
#include "tests/fuzz/Targets.h"
#include "text/Utf8.h"
#include "util/Conversions.h"

namespace {

using Fuzz::require;

std::wstring textOf(const Zel::TString& text) {
    return {text.data(), text.length()};
}

std::string textOf(const SecretBuffer& buffer) {
    return {reinterpret_cast<const char*>(buffer.data()), buffer.size()};
}

void toWide(const std::string& bytes) {
    const std::wstring expected = Fuzz::wideOf(bytes);
    const std::size_t needed = text::utf8ToWide(bytes.data(), bytes.size(), nullptr, 0);
    require(needed == expected.size(), "the length of wide text is the model's");
    std::vector<wchar_t> target(needed);
    if (needed != 0) {
        require(text::utf8ToWide(bytes.data(), bytes.size(), target.data(), needed) == needed, "it fits exactly");
        require(std::wstring(target.begin(), target.end()) == expected, "wide text is the model's");
        std::vector<wchar_t> tight(needed - 1);
        wchar_t nowhere = L'Z';
        wchar_t* const place = tight.empty() ? &nowhere : tight.data();
        require(text::utf8ToWide(bytes.data(), bytes.size(), place, tight.size()) == 0, "too little room is refused");
        require(nowhere == L'Z', "nothing is written where there is no room");
    }

    const std::string head(bytes.c_str());
    const auto* const first = reinterpret_cast<const std::uint8_t*>(bytes.data());
    require(textOf(Utf82TString(first, bytes.size())) == Fuzz::wideOf(head), "bytes end at the first zero");
    require(textOf(Utf82TString(bytes.c_str())) == Fuzz::wideOf(head), "a text ends at its terminator");
    const Zel::Parameter parameter = makeHexParameter(L"ID", bytes.c_str());
    require(textOf(parameter.getValue()) == Fuzz::hexadecimalOf(head), "a value is the hexadecimal text of its bytes");
}

void toUtf8(const std::wstring& wide) {
    const std::string expected = Fuzz::utf8Of(wide);
    const std::size_t needed = text::wideToUtf8(wide.data(), wide.size(), nullptr, 0);
    require(needed == expected.size(), "the length of UTF-8 is the model's");
    std::vector<char> target(needed);
    if (needed != 0) {
        require(text::wideToUtf8(wide.data(), wide.size(), target.data(), needed) == needed, "it fits exactly");
        require(std::string(target.begin(), target.end()) == expected, "UTF-8 is the model's");
        std::vector<char> tight(needed - 1);
        char nowhere = 'Z';
        char* const place = tight.empty() ? &nowhere : tight.data();
        require(text::wideToUtf8(wide.data(), wide.size(), place, tight.size()) == 0, "too little room is refused");
    }
    require(Fuzz::utf8Of(Fuzz::wideOf(expected)) == expected, "the model comes back to itself");

    const std::string head = Fuzz::utf8Of(Fuzz::untilZero(wide));
    const SecretBuffer bytes = TString2Utf8({wide.data(), static_cast<int>(wide.size())});
    require(!bytes.isNull() && textOf(bytes) == head && bytes.data()[bytes.size()] == 0,
            "the bytes of a text end at its first zero, with one behind them");
    require(textOf(WChar2Utf8(wide.c_str())) == head, "so do those of wide characters");
}

} // namespace

void Fuzz::utf8(const std::uint8_t* data, std::size_t size) {
    toWide(Input(data, size).rest());
    toUtf8(Input(data, size).restAsText());
}
