#include "text/Base64.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes asBytes(const std::string& text) {
    return {text.begin(), text.end()};
}

/// Nothing, or the bytes; the input in a block of exactly its size.
std::optional<Bytes> decodeGroups(const std::wstring& text) {
    const std::unique_ptr<wchar_t[]> input(new wchar_t[text.size()]);
    text.copy(input.get(), text.size());
    const SecretBuffer bytes = text::decodeBase64({input.get(), text.size()});
    return bytes.isNull() ? std::nullopt : std::optional<Bytes>({bytes.data(), bytes.data() + bytes.size()});
}

std::wstring encodeGroups(const Bytes& bytes) {
    const std::size_t needed = text::base64Length(bytes.size());
    const std::unique_ptr<wchar_t[]> output(new wchar_t[needed]);
    text::encodeBase64(bytes, output.get());
    return {output.get(), needed};
}

TEST(Base64, ReadsAndWritesTheKnownTexts) {
    const std::vector<std::pair<std::string, std::wstring>> table = {
        {"f", L"Zg=="},        {"fo", L"Zm8="},           {"foo", L"Zm9v"},
        {"foob", L"Zm9vYg=="}, {"fooba", L"Zm9vYmE="},    {"foobar", L"Zm9vYmFy"},
        {"\x01\x02", L"AQI="}, {"\xFB\xFF\xBF", L"+/+/"}, {"The quick brown fox", L"VGhlIHF1aWNrIGJyb3duIGZveA=="},
    };
    for (const auto& [bytes, text] : table) {
        EXPECT_EQ(decodeGroups(text), asBytes(bytes)) << bytes;
        EXPECT_EQ(encodeGroups(asBytes(bytes)), text) << bytes;
    }
    EXPECT_EQ(encodeGroups({}), L"");
}

TEST(Base64, AllowsWhiteSpaceAroundGroups) {
    EXPECT_EQ(decodeGroups(L"Zm9v YmFy"), asBytes("foobar"));
    EXPECT_EQ(decodeGroups(L" \tZm9v\r\nYmE=\r\n"), asBytes("fooba"));
    EXPECT_EQ(decodeGroups(L"Zm9v\n\n\nYg== "), asBytes("foob"));
}

TEST(Base64, RefusesEverythingElse) {
    const std::vector<std::wstring> table = {
        L"",
        L" ",
        L"\r\n",
        // groups that are not complete
        L"Z",
        L"Zg",
        L"Zm8",
        L"Zg=",
        L"Zm9vY",
        L"Zm9vYg",
        L"Zm9vYg=",
        L"Zm9vYmE",
        L"=",
        L"==",
        L"====",
        // padding at the wrong place
        L"Z===",
        L"=Zg=",
        L"Zg=A",
        L"Zg==Zg==",
        L"Zg== Zg==",
        L"Zm8=Zm9v",
        L"Zg===",
        L"Zm9v=",
        L"Zm9v====",
        // white space inside a group
        L"Zm 9v",
        L"Zg =\n=",
        L"Z\r\nm9v",
        L"Zm9 v",
        // characters of no or another alphabet
        L"Zm-v",
        L"Zm_v",
        L"Zm9*",
        L"Zm*=",
        L"@@@@",
        L"Zm9v\vZm9v",
        L"Zm9v\xA0",
        L"Zm9\x100",
        L"Zm9\xFF41",
        std::wstring(L"Zm9v\0", 5),
        std::wstring(L"Zm\0v", 4),
        std::wstring(3, L'A') + static_cast<wchar_t>(-1),
        L"-----BEGIN CERTIFICATE-----\nZm9v\n-----END CERTIFICATE-----\n",
    };
    for (const std::wstring& text : table) {
        EXPECT_EQ(decodeGroups(text), std::nullopt) << testing::PrintToString(text);
    }
}

// As the Windows decoder has it: encoders that leave rubbish in the bits that no byte takes exist.
TEST(Base64, IgnoresTheBitsThatNoByteTakes) {
    EXPECT_EQ(decodeGroups(L"Zh=="), asBytes("f"));
    EXPECT_EQ(decodeGroups(L"Zm9="), asBytes("fo"));
}

TEST(Base64, WritesOneLineOfAnyLengthAndReadsItBack) {
    std::vector<std::size_t> lengths = {100, 767, 768, 769, 770, 1536, 5000};
    for (std::size_t length = 1; length <= 24; ++length) {
        lengths.push_back(length);
    }
    for (const std::size_t length : lengths) {
        Bytes bytes(length);
        for (std::size_t i = 0; i < length; ++i) {
            bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 256);
        }
        const std::wstring text = encodeGroups(bytes);
        EXPECT_EQ(text.size(), (length + 2) / 3 * 4);
        EXPECT_EQ(text.find_first_of(L"\r\n"), std::wstring::npos);
        EXPECT_EQ(decodeGroups(text), bytes);
    }
}

} // namespace
