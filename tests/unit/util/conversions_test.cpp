#include "util/Conversions.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "ry/rylog.h"
#include "tests/heap/Heap.h"
#include "tests/unit/util/WideText.h"

namespace {

using Zel::Parameter;
using Zel::ParameterEncoding;
using Zel::ParameterType;
using Zel::TString;

std::wstring hexOf(const std::vector<std::uint8_t>& bytes) {
    return str(Binary2TStringHex(bytes.data(), bytes.size()));
}

std::string bytesOf(const SecretBuffer& buffer) {
    return {reinterpret_cast<const char*>(buffer.data()), buffer.size()};
}

struct Line {
    std::string module;
    std::uint32_t level;
    std::string text;
};

/// All lines that the log gets while it lives.
class LogLines {
public:
    LogLines() { rylogSetReceiver(receive, this, 31); }
    LogLines(const LogLines&) = delete;
    LogLines& operator=(const LogLines&) = delete;
    ~LogLines() { rylogSetReceiver(nullptr, nullptr, 31); }

    std::vector<Line> lines;

private:
    static void receive(void* context, const RylogRecord* record) {
        static_cast<LogLines*>(context)->lines.push_back({record->module, record->level, record->text});
    }
};

struct ValueRow {
    int encoding;
    int type;
    std::wstring value;
    std::wstring expected;
};

std::wstring valueOf(const ValueRow& row) {
    const TString value(row.value.data(), static_cast<int>(row.value.size()));
    return str(getValueFromEncoding(
        Parameter(static_cast<ParameterEncoding>(row.encoding), L"ID", static_cast<ParameterType>(row.type), value)));
}

TEST(GetValueFromEncoding, FollowsEncodingAndType) {
    const LogLines log;
    const std::vector<ValueRow> table = {
        // text of type raw stands as it is, of any other type for its bytes
        {0, 0, L"AB", L"AB"},
        {0, 0, L"", L""},
        {0, 1, L"AB", L"4142"},
        {0, 2, L"AB", L"4142"},
        {0, 3, L"AB", L"4142"},
        {0, 99, L"AB", L"4142"},
        {0, -1, L"AB", L"4142"},
        {0, 3, L"", L""},
        {0, 3, L"\xE9\x20AC", L"C3A9E282AC"},
        {0, 3, L"\U0001F600", L"F09F9880"},
        {0, 3, std::wstring(L"A\0B", 3), L"41"},
        // Base64 of any type
        {1, 0, L"AQI=", L"0102"},
        {1, 2, L"AQI=", L"0102"},
        {1, 3, L"AQI=", L"0102"},
        {1, 2, L"AAAA", L"000000"},
        {1, 2, L"AQI", L""},
        {1, 2, L"not Base64!", L""},
        {1, 2, L"", L""},
        // plain and hexadecimal values of any type stand as they are
        {2, 0, L"AB", L"AB"},
        {2, 3, L"AB", L"AB"},
        {2, 3, L"", L""},
        {4, 0, L"0aff", L"0aff"},
        {4, 3, L"not hexadecimal", L"not hexadecimal"},
    };
    for (const ValueRow& row : table) {
        EXPECT_EQ(valueOf(row), row.expected) << row.encoding << ' ' << row.type << testing::PrintToString(row.value);
    }
    EXPECT_TRUE(log.lines.empty());
}

TEST(GetValueFromEncoding, GivesNothingForAnyOtherEncodingAndSaysSo) {
    for (const int encoding : {3, 5, 6, 100, 0x7FFFFFFF, -1}) {
        for (const int type : {0, 3}) {
            const LogLines log;
            EXPECT_EQ(valueOf({encoding, type, L"AB", L""}), L"");
            ASSERT_EQ(log.lines.size(), 1U) << encoding;
            EXPECT_EQ(log.lines[0].module, "ZEL-COE-PKCS11");
            EXPECT_EQ(log.lines[0].level, 1U);
            EXPECT_EQ(log.lines[0].text, "PKCS11Client::getValueFromEncoding: --> default case");
        }
    }
}

TEST(HexToBinary, GivesTheBytesAZeroBehindThemAndTheirNumber) {
    std::uint32_t length = 99;
    const SecretBuffer bytes = TStringHex2Binary(L"0AFF", &length);
    EXPECT_EQ(length, 2U);
    ASSERT_EQ(bytes.size(), 2U);
    EXPECT_EQ(bytes.data()[0], 0x0A);
    EXPECT_EQ(bytes.data()[1], 0xFF);
    EXPECT_EQ(bytes.data()[2], 0x00);
    EXPECT_EQ(bytesOf(TStringHex2Binary(L"31 32\r\n33")), "123");
}

TEST(HexToBinary, GivesNullForWhatIsNotHexadecimal) {
    for (const wchar_t* text : {L"", L" ", L"0", L"0AF", L"0AFG", L"0 A", L"0x0A"}) {
        std::uint32_t length = 99;
        EXPECT_TRUE(TStringHex2Binary(text, &length).isNull()) << testing::PrintToString(text);
        EXPECT_EQ(length, 0xFFFFFFFFU);
    }
}

TEST(Base64ToBinary, GivesTheBytesAZeroBehindThemAndTheirNumber) {
    std::uint32_t length = 99;
    const SecretBuffer bytes = TStringB642Binary(L"AQI=", &length);
    EXPECT_EQ(length, 2U);
    EXPECT_EQ(bytesOf(bytes), "\x01\x02");
    EXPECT_EQ(bytes.data()[2], 0x00);
    EXPECT_EQ(bytesOf(TStringB642Binary(L"Zm9v\r\nYmFy\r\n")), "foobar");
}

TEST(Base64ToBinary, GivesNullForWhatIsNotBase64) {
    for (const wchar_t* text : {L"", L" ", L"A", L"AQI", L"AQ=I", L"AQ ID", L"@@@@", L"AQI=AQID"}) {
        std::uint32_t length = 99;
        EXPECT_TRUE(TStringB642Binary(text, &length).isNull()) << testing::PrintToString(text);
        EXPECT_EQ(length, 0xFFFFFFFFU);
    }
}

TEST(BinaryToBase64, IsOneLine) {
    const std::vector<std::uint8_t> bytes(100, 0xA5);
    const std::wstring text = str(Binary2TStringB64(bytes.data(), bytes.size()));
    EXPECT_EQ(text.size(), 136U);
    EXPECT_EQ(text.find_first_of(L"\r\n"), std::wstring::npos);
    EXPECT_EQ(text.substr(0, 8), L"paWlpaWl");
    EXPECT_EQ(text.substr(132), L"pQ==");
    const std::uint8_t two[] = {1, 2};
    EXPECT_EQ(str(Binary2TStringB64(two, 2)), L"AQI=");
    EXPECT_EQ(str(Binary2TStringB64(nullptr, 0)), L"");
}

TEST(BinaryToHex, IsUpperCaseInTheOrderOfTheBytes) {
    EXPECT_EQ(hexOf({0x0A, 0xFF}), L"0AFF");
    EXPECT_EQ(hexOf({0x00}), L"00");
    EXPECT_EQ(hexOf({}), L"");
    EXPECT_EQ(str(Binary2TStringHex(nullptr, 0)), L"");
    EXPECT_EQ(hexOf({0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}), L"0123456789ABCDEF");
}

TEST(BinaryToHex, KeepsItsLengthAroundTheSizeOfItsOwnBuffer) {
    for (std::size_t length = 90; length < 105; ++length) {
        std::wstring expected;
        for (std::size_t i = 0; i < length; ++i) {
            expected += L"5A";
        }
        EXPECT_EQ(hexOf(std::vector<std::uint8_t>(length, 0x5A)), expected);
    }
}

TEST(TextToUtf8, EndsAtTheFirstZeroCharacterWithAZeroByte) {
    const SecretBuffer utf8 = TString2Utf8(L"\xE9"
                                           L"A");
    EXPECT_EQ(bytesOf(utf8), "\xC3\xA9"
                             "A");
    EXPECT_EQ(utf8.data()[3], 0);
    EXPECT_EQ(bytesOf(TString2Utf8(TString(L"A\0B", 3))), "A");
    EXPECT_FALSE(TString2Utf8(L"").isNull());
    EXPECT_EQ(TString2Utf8(L"").size(), 0U);
    EXPECT_EQ(bytesOf(WChar2Utf8(L"\x20AC")), "\xE2\x82\xAC");
    EXPECT_EQ(WChar2Utf8(L"").size(), 0U);
    EXPECT_EQ(WChar2Utf8(nullptr).size(), 0U);
}

TEST(Utf8ToText, ReadsTerminatedText) {
    EXPECT_EQ(str(Utf82TString("\xC3\xA9\xE2\x82\xAC")), L"\xE9\x20AC");
    EXPECT_EQ(str(Utf82TString("\xF0\x9F\x98\x80")), L"\U0001F600");
    EXPECT_EQ(str(Utf82TString("a\xFF"
                               "b")),
              L"a\xFFFD"
              L"b");
    EXPECT_EQ(str(Utf82TString("")), L"");
    EXPECT_EQ(str(Utf82TString(nullptr)), L"");
    EXPECT_EQ(str(Utf82TString(std::string(1000, 'x').c_str())), std::wstring(1000, L'x'));
}

TEST(Utf8ToText, ReadsExactlyAFieldWithoutTerminator) {
    // A block of exactly the field's size, so that a sanitizer sees a step behind it.
    std::vector<std::uint8_t> field(32, ' ');
    std::memcpy(field.data(), "Maker \xC3\xA9", 8);
    EXPECT_EQ(str(Utf82TString(field.data(), field.size())), L"Maker \xE9" + std::wstring(24, L' '));
    field[31] = 0xE2;
    EXPECT_EQ(str(Utf82TString(field.data(), field.size())), L"Maker \xE9" + std::wstring(23, L' ') + L"\xFFFD");
    field[5] = 0;
    EXPECT_EQ(str(Utf82TString(field.data(), field.size())), L"Maker");
    EXPECT_EQ(str(Utf82TString(field.data(), 0)), L"");
}

TEST(MakeParameter, GivesAHexadecimalParameterOfTypeRaw) {
    const Parameter hex = makeHexParameter(L"READER", "AB\xC3\xA9");
    EXPECT_EQ(str(hex.getId()), L"READER");
    EXPECT_EQ(str(hex.getValue()), L"4142C3A9");
    EXPECT_EQ(static_cast<int>(hex.getEncodingEnum()), 4);
    EXPECT_EQ(static_cast<int>(hex.getTypeEnum()), 0);
    EXPECT_EQ(str(makeHexParameter(L"READER", "").getValue()), L"");
    EXPECT_EQ(str(makeHexParameter(L"READER", nullptr).getValue()), L"");

    const Parameter plain = makeParameter(L"STATE", L"any value");
    EXPECT_EQ(str(plain.getId()), L"STATE");
    EXPECT_EQ(str(plain.getValue()), L"any value");
    EXPECT_EQ(static_cast<int>(plain.getEncodingEnum()), 4);
    EXPECT_EQ(static_cast<int>(plain.getTypeEnum()), 0);
}

std::string_view bytesOf(const std::wstring& text) {
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)};
}

// Short and long: the long one needs the heap on its way.
TEST(Conversions, LeaveNoSecretOnTheHeap) {
    const std::string pin = "7391-secret-PIN-" + std::string(1000, 'q');
    std::wstring hex;
    for (const char c : pin) {
        hex += L"0123456789ABCDEF"[c >> 4];
        hex += L"0123456789ABCDEF"[c & 0xF];
    }
    const std::wstring wide(pin.begin(), pin.end());
    const TString text(wide.c_str());
    const TString hexText(hex.c_str());
    {
        const TestHeap::Watch watch("7391-secret-PIN-");
        EXPECT_EQ(TStringHex2Binary(hexText).size(), pin.size());
        EXPECT_EQ(TString2Utf8(text).size(), pin.size());
        const SecretBuffer utf8 = TString2Utf8(text);
        EXPECT_EQ(TStringB642Binary(Binary2TStringB64(utf8.data(), utf8.size())).size(), pin.size());
        EXPECT_GE(watch.blocks(), 3U);
        EXPECT_EQ(watch.leaks(), 0U);
    }
    const std::wstring hexPart = hex.substr(0, 32);
    {
        const TestHeap::Watch watch(bytesOf(hexPart));
        const Parameter parameter(ParameterEncoding::Text, L"PIN", ParameterType::Text, text);
        EXPECT_EQ(getValueFromEncoding(parameter).length(), hex.size());
        EXPECT_GE(watch.blocks(), 1U);
        EXPECT_EQ(watch.leaks(), 0U);
    }
}

} // namespace
