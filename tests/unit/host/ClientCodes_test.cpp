#include "host/plugin/ClientCodes.h"

#include <gtest/gtest.h>

#include <map>

namespace host {
namespace {

ParameterList answer(const wchar_t* id, const wchar_t* value) {
    ParameterList list;
    list.add(Zel::Parameter(Zel::ParameterEncoding::Plain, id, Zel::ParameterType::Text, value));
    return list;
}

TEST(ClientCodes, everyCodeHasItsStatus) {
    const std::map<unsigned int, ExitStatus> special = {
        {33002, ExitStatus::NoToken},  {33003, ExitStatus::NoToken},   {33004, ExitStatus::BadParameter},
        {33006, ExitStatus::PinWrong}, {33007, ExitStatus::PinLocked}, {33011, ExitStatus::NotFound},
    };
    EXPECT_EQ(clientCode(0).status, ExitStatus::Success);
    for (unsigned int code = 33001; code <= 33030; ++code) {
        const auto entry = special.find(code);
        EXPECT_EQ(clientCode(code).code, code);
        EXPECT_EQ(clientCode(code).status, entry == special.end() ? ExitStatus::Failed : entry->second) << code;
        EXPECT_STRNE(clientCode(code).meaning, "") << code;
        EXPECT_STRNE(clientCode(code).advice, "") << code;
    }
}

TEST(ClientCodes, statusesAreTheDocumentedNumbers) {
    EXPECT_EQ(static_cast<int>(ExitStatus::Success), 0);
    EXPECT_EQ(static_cast<int>(ExitStatus::Failed), 1);
    EXPECT_EQ(static_cast<int>(ExitStatus::Usage), 2);
    EXPECT_EQ(static_cast<int>(ExitStatus::NoPlugin), 3);
    EXPECT_EQ(static_cast<int>(ExitStatus::NotFound), 4);
    EXPECT_EQ(static_cast<int>(ExitStatus::PinWrong), 5);
    EXPECT_EQ(static_cast<int>(ExitStatus::PinLocked), 6);
    EXPECT_EQ(static_cast<int>(ExitStatus::NoToken), 7);
    EXPECT_EQ(static_cast<int>(ExitStatus::BadParameter), 8);
}

TEST(ClientCodes, unknownCodesFail) {
    EXPECT_EQ(clientCode(1).status, ExitStatus::Failed);
    EXPECT_EQ(clientCode(33000).code, 0xFFFFFFFFU);
    EXPECT_EQ(clientCode(33031).code, 0xFFFFFFFFU);
}

TEST(ClientCodes, codesAreHexadecimalText) {
    EXPECT_EQ(parseClientCode("0"), 0U);
    EXPECT_EQ(parseClientCode("80ee"), 33006U);
    EXPECT_EQ(parseClientCode("80EE"), 33006U);
    for (const char* text : {"", "g", "80ee ", " 80ee", "-1", "0x80ee", "100000000"}) {
        EXPECT_EQ(parseClientCode(text), std::nullopt) << text;
    }
}

TEST(ClientCodes, statusOfAnAnswer) {
    EXPECT_EQ(statusOf(answer(L"ERROR", L"0")), ExitStatus::Success);
    EXPECT_EQ(statusOf(answer(L"ERROR", L"80f3")), ExitStatus::NotFound);
    EXPECT_EQ(statusOf(answer(L"ERROR", L"what")), ExitStatus::Failed);
    EXPECT_EQ(statusOf(answer(L"error", L"0")), ExitStatus::Failed);
    EXPECT_EQ(statusOf(ParameterList()), ExitStatus::Failed);
}

} // namespace
} // namespace host
