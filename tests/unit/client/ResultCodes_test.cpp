#include "client/ResultCodes.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

using namespace plugin;

namespace {

std::wstring wide(const Zel::TString& text) {
    return {text.data(), text.length()};
}

struct Row {
    const char* name;
    CK_RV rv;
    std::uint32_t code;
    const wchar_t* text;
};

// By value, not by name: the groups and the gaps are meant.
const std::vector<Row> kRows = {
    {"CKR_OK", 0x00, 0, L"0"},
    {"CKR_HOST_MEMORY", 0x02, 33014, L"80f6"},
    {"CKR_SLOT_ID_INVALID", 0x03, 33001, L"80e9"},
    {"CKR_GENERAL_ERROR", 0x05, 33015, L"80f7"},
    {"CKR_FUNCTION_FAILED", 0x06, 33016, L"80f8"},
    {"CKR_ARGUMENTS_BAD", 0x07, 33017, L"80f9"},
    {"CKR_ATTRIBUTE_READ_ONLY", 0x10, 33017, L"80f9"},
    {"CKR_ATTRIBUTE_SENSITIVE", 0x11, 33017, L"80f9"},
    {"CKR_ATTRIBUTE_TYPE_INVALID", 0x12, 33017, L"80f9"},
    {"CKR_ATTRIBUTE_VALUE_INVALID", 0x13, 33017, L"80f9"},
    {"CKR_DATA_INVALID", 0x20, 33017, L"80f9"},
    {"CKR_DATA_LEN_RANGE", 0x21, 33017, L"80f9"},
    {"CKR_DEVICE_ERROR", 0x30, 33018, L"80fa"},
    {"CKR_DEVICE_MEMORY", 0x31, 33014, L"80f6"},
    {"CKR_DEVICE_REMOVED", 0x32, 33003, L"80eb"},
    {"CKR_FUNCTION_NOT_SUPPORTED", 0x54, 33012, L"80f4"},
    {"CKR_KEY_HANDLE_INVALID", 0x60, 33019, L"80fb"},
    {"CKR_KEY_SIZE_RANGE", 0x62, 33019, L"80fb"},
    {"CKR_KEY_TYPE_INCONSISTENT", 0x63, 33019, L"80fb"},
    {"CKR_PIN_INCORRECT", 0xA0, 33006, L"80ee"},
    {"CKR_PIN_INVALID", 0xA1, 33006, L"80ee"},
    {"CKR_PIN_LEN_RANGE", 0xA2, 33020, L"80fc"},
    {"CKR_PIN_EXPIRED", 0xA3, 33007, L"80ef"},
    {"CKR_PIN_LOCKED", 0xA4, 33007, L"80ef"},
    {"CKR_SESSION_CLOSED", 0xB0, 33021, L"80fd"},
    {"CKR_SESSION_COUNT", 0xB1, 33022, L"80fe"},
    {"CKR_SESSION_HANDLE_INVALID", 0xB3, 33023, L"80ff"},
    {"CKR_SESSION_PARALLEL_NOT_SUPPORTED", 0xB4, 33024, L"8100"},
    {"CKR_SESSION_READ_ONLY", 0xB5, 33025, L"8101"},
    {"CKR_SESSION_EXISTS", 0xB6, 33026, L"8102"},
    {"CKR_SESSION_READ_ONLY_EXISTS", 0xB7, 33027, L"8103"},
    {"CKR_SESSION_READ_WRITE_SO_EXISTS", 0xB8, 33028, L"8104"},
    {"CKR_TEMPLATE_INCOMPLETE", 0xD0, 33029, L"8105"},
    {"CKR_TEMPLATE_INCONSISTENT", 0xD1, 33030, L"8106"},
    {"CKR_TOKEN_NOT_PRESENT", 0xE0, 33003, L"80eb"},
    {"CKR_TOKEN_NOT_RECOGNIZED", 0xE1, 33002, L"80ea"},
    {"CKR_USER_NOT_LOGGED_IN", 0x101, 33008, L"80f0"},
    {"CKR_USER_ANOTHER_ALREADY_LOGGED_IN", 0x104, 33009, L"80f1"},
    {"CKR_FUNCTION_REJECTED", 0x200, 33012, L"80f4"},
};

constexpr const wchar_t* kAnyOther = L"80f5"; // 33013

const wchar_t* expectedText(CK_RV rv) {
    for (const Row& row : kRows) {
        if (row.rv == rv) {
            return row.text;
        }
    }
    return kAnyOther;
}

} // namespace

TEST(ResultCodes, goByValue) {
    for (CK_RV rv = 0; rv <= 0x300; ++rv) {
        EXPECT_EQ(wide(clientErrorCode(rv)), expectedText(rv)) << "rv 0x" << std::hex << rv;
    }
}

TEST(ResultCodes, higherBytesAreNotCutOff) {
    for (const Row& row : kRows) {
        for (const CK_RV higher : {CK_RV{0x400}, CK_RV{0x10000}, CK_RV{0x1000000}, CK_RV{CKR_VENDOR_DEFINED}}) {
            EXPECT_EQ(wide(clientErrorCode(row.rv | higher)), kAnyOther) << row.name;
        }
    }
}

TEST(ResultCodes, aResultAboveThirtyTwoBitsIsAnyOtherValue) {
    if constexpr (sizeof(CK_RV) > sizeof(std::uint32_t)) {
        constexpr CK_RV kAbove = static_cast<CK_RV>(std::uint64_t{1} << (sizeof(CK_RV) > 4 ? 32 : 0));
        for (const Row& row : kRows) {
            EXPECT_EQ(wide(clientErrorCode(kAbove | row.rv)), kAnyOther) << row.name;
        }
    }
    EXPECT_EQ(wide(clientErrorCode(static_cast<CK_RV>(-1))), kAnyOther);
}

TEST(HexNumberText, isLowerCaseWithoutPrefixOrPadding) {
    for (const Row& row : kRows) {
        EXPECT_EQ(wide(hexNumberText(row.code)), row.text) << row.name;
    }
    EXPECT_EQ(wide(hexNumberText(0)), L"0");
    EXPECT_EQ(wide(hexNumberText(1)), L"1");
    EXPECT_EQ(wide(hexNumberText(9)), L"9");
    EXPECT_EQ(wide(hexNumberText(10)), L"a");
    EXPECT_EQ(wide(hexNumberText(16)), L"10");
    EXPECT_EQ(wide(hexNumberText(33004)), L"80ec");
    EXPECT_EQ(wide(hexNumberText(33030)), L"8106");
    EXPECT_EQ(wide(hexNumberText(0x80000000U)), L"80000000");
    EXPECT_EQ(wide(hexNumberText(0xFFFFFFFFU)), L"ffffffff");
}

TEST(ClientCodes, areTheNumbersThatHostsKnow) {
    EXPECT_EQ(ClientCode::kBadParameter, 33004U);
    EXPECT_EQ(ClientCode::kUnknownSessionState, 33005U);
    EXPECT_EQ(ClientCode::kNotFound, 33011U);
}

TEST(ResultValue, ofCkrOkIsSuccess) {
    const Result result(CKR_OK);
    EXPECT_TRUE(result.isOk());
    EXPECT_FALSE(result.isClientCode());
    EXPECT_EQ(result.rv(), CKR_OK);
    EXPECT_EQ(wide(errorText(result)), L"0");
}

TEST(ResultValue, ofAFailureCarriesItsMappedCode) {
    const Result result(CKR_PIN_INCORRECT);
    EXPECT_FALSE(result.isOk());
    EXPECT_FALSE(result.isClientCode());
    EXPECT_EQ(result.rv(), CKR_PIN_INCORRECT);
    EXPECT_EQ(wide(errorText(result)), L"80ee");
}

TEST(ResultValue, ofAChosenCodeIsNoSuccess) {
    const Result result = Result::client(ClientCode::kNotFound);
    EXPECT_FALSE(result.isOk());
    EXPECT_TRUE(result.isClientCode());
    EXPECT_EQ(result.rv(), CKR_OK);
    EXPECT_EQ(wide(errorText(result)), L"80f3");
    EXPECT_EQ(wide(errorText(Result::client(ClientCode::kUnknownSessionState))), L"80ed");
    EXPECT_EQ(wide(errorText(Result::badParameter())), L"80ec");
}
