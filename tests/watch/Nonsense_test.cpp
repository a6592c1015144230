#include <cstring>
#include <iterator>
#include <limits>

#include "platform/Process.h"
#include "tests/watch/WatchTest.h"
#include "tests/watch/module/Odd.h"
#include "watch/record/RecordReader.h"

// Programs and modules that give lengths, counts, lists and results that cannot be right. The module here answers
// without looking at its arguments, as real ones do when the session is not there; so must the watch.

using namespace tests;

namespace {

/// What a variable holds that nobody has set.
constexpr CK_ULONG kGarbage = std::numeric_limits<CK_ULONG>::max() / 2 + 9;

class Nonsense : public WatchTest {
protected:
    /// The attribute as it is written for C_CreateObject.
    Json written(CK_ATTRIBUTE attribute) {
        CK_OBJECT_HANDLE object = 0;
        EXPECT_EQ(list().C_CreateObject(1, &attribute, 1, &object), CKR_OK);
        return line()["in"]["template"][0];
    }
    CK_FUNCTION_LIST& list() {
        if (m_list == nullptr) {
            m_list = &load();
        }
        return *m_list;
    }

private:
    CK_FUNCTION_LIST* m_list = nullptr;
};

TEST_F(Nonsense, LengthsOfValuesThatNoProgramHas) {
    char byte[] = "x";
    for (const CK_ULONG length : {kGarbage, kGarbage * 2 - 40, CK_ULONG{1} << 30U}) {
        for (const CK_ATTRIBUTE_TYPE type : {CKA_LABEL, CKA_ID, CKA_ALLOWED_MECHANISMS, CKA_WRAP_TEMPLATE, CKA_CLASS}) {
            const Json attribute = written({type, byte, length});
            EXPECT_EQ(attribute["length"], length) << type;
            EXPECT_FALSE(attribute.contains("value")) << attribute;
        }
        CK_BYTE data[] = "y";
        EXPECT_EQ(list().C_Verify(1, data, 1, data, length), CKR_OK);
        EXPECT_EQ(line()["in"]["signature"], Json({{"length", length}}));
    }
}

TEST_F(Nonsense, WhatStandsBehindANumberIsNotShown) {
    // A program that gives the size of a number for a boolean, and one that gives the size of a structure.
    struct {
        CK_BBOOL yes = CK_TRUE;
        char pin[7] = "472911";
    } flags;
    const std::string shown = written({CKA_TOKEN, &flags, sizeof flags}).dump();
    EXPECT_EQ(shown.find("343732"), std::string::npos) << shown;
    struct {
        CK_ULONG bits = 2048;
        char pin[8] = "472911";
    } sizes;
    const std::string number = written({CKA_MODULUS_BITS, &sizes, sizeof sizes}).dump();
    EXPECT_EQ(number.find("343732"), std::string::npos) << number;
}

TEST_F(Nonsense, WhatStandsBehindAShortLabelIsNotShown) {
    // Labels are padded to 32 bytes. The heap's memory ends behind the text, where the memory checker sees what is
    // read.
    std::vector<CK_UTF8CHAR> text{'C', 'a', 'r', 'd', 0};
    EXPECT_EQ(list().C_InitToken(1, nullptr, 0, text.data()), CKR_OK);
    EXPECT_EQ(line()["in"]["label"], "Card");
    CK_UTF8CHAR both[33] = "Card\0and what nobody may know...";
    EXPECT_EQ(list().C_InitToken(1, nullptr, 0, both), CKR_OK);
    EXPECT_EQ(line()["in"]["label"], "Card");
    CK_UTF8CHAR padded[34] = "Card                           !x";
    EXPECT_EQ(list().C_InitToken(1, nullptr, 0, padded), CKR_OK);
    EXPECT_EQ(line()["in"]["label"], "Card                           !");
}

TEST_F(Nonsense, CountsOfAttributesThatNoProgramHas) {
    CK_FUNCTION_LIST& calls = list();
    CK_OBJECT_CLASS objectClass = CKO_CERTIFICATE;
    // On the heap, where the memory checker sees what is read behind it.
    const std::vector<CK_ATTRIBUTE> one{{CKA_CLASS, &objectClass, sizeof objectClass}};
    auto* const attributes = const_cast<CK_ATTRIBUTE*>(one.data());
    CK_OBJECT_HANDLE object = 0;
    for (const CK_ULONG count : {CK_ULONG{100000}, kGarbage, std::numeric_limits<CK_ULONG>::max()}) {
        EXPECT_EQ(calls.C_FindObjectsInit(1, attributes, count), CKR_OK);
        EXPECT_EQ(line()["in"]["template"], Json::array()) << count;
        EXPECT_EQ(calls.C_CreateObject(1, attributes, count, &object), CKR_OK);
        EXPECT_EQ(line()["in"]["template"], Json::array()) << count;
        EXPECT_EQ(calls.C_SetAttributeValue(1, 7, attributes, count), CKR_OK);
        EXPECT_EQ(line()["in"]["template"], Json::array()) << count;
    }
}

TEST_F(Nonsense, ResultsAboveThirtyTwoBits) {
    if (sizeof(CK_RV) == 4) {
        GTEST_SKIP() << "results have 32 bits here";
    }
    CK_FUNCTION_LIST& calls = list();
    const auto high = static_cast<CK_RV>(std::uint64_t{1} << 32U);
    loud->result = high;
    EXPECT_EQ(calls.C_CloseSession(1), high);
    EXPECT_EQ(line()["result"], "0x100000000");
    loud->result = high | CKR_PIN_INCORRECT;
    EXPECT_EQ(calls.C_CloseSession(1), loud->result);
    EXPECT_EQ(line()["result"], "0x1000000a0");
}

TEST_F(Nonsense, ResultsWithoutAName) {
    CK_FUNCTION_LIST& calls = list();
    loud->result = CKR_VENDOR_DEFINED | 0x1234U;
    EXPECT_EQ(calls.C_CloseSession(1), loud->result);
    EXPECT_EQ(line()["result"], "0x80001234");
    EXPECT_EQ(watch::readLine(line().dump()).value_or(watch::RecordedLine{}).result, loud->result);
}

CK_FUNCTION_LIST* g_list = nullptr;
Loud::Control* g_loud = nullptr;

// A program waits for a card in one thread and finalises the module in another; the call ends after that.
TEST_F(Nonsense, ACallThatEndsAfterTheModuleWasFinalised) {
    g_list = &list();
    g_loud = loud;
    loud->during = [] {
        g_loud->during = nullptr;
        EXPECT_EQ(g_list->C_Finalize(nullptr), CKR_OK);
    };
    CK_SLOT_ID slot = 0;
    EXPECT_EQ(g_list->C_WaitForSlotEvent(0, &slot, nullptr), CKR_OK);
    const std::vector<Json> all = lines();
    ASSERT_EQ(all.size(), 3U);
    EXPECT_EQ(all[1]["call"], "C_Finalize");
    EXPECT_EQ(all[2]["call"], "C_WaitForSlotEvent");
}

/// p11watch in front of the module with odd lists.
class OddLists : public WatchTest {
protected:
    OddLists() : m_odd(platform::DynamicLibrary::load(L"" ODD_MODULE)) {
        EXPECT_TRUE(m_odd.isLoaded());
        odd = reinterpret_cast<Odd::ControlFunction>(m_odd.symbol("oddControl"))();
        *odd = {};
        platform::setEnvironmentVariable("P11WATCH_MODULE", ODD_MODULE);
    }
    ~OddLists() override { *odd = {}; }

    Odd::Control* odd = nullptr;

private:
    platform::DynamicLibrary m_odd;
};

TEST_F(OddLists, WithHoles) {
    CK_FUNCTION_LIST& list = load();
    EXPECT_EQ(list.C_Login, nullptr);
    EXPECT_EQ(list.C_Initialize(nullptr), CKR_OK);
    EXPECT_GT(lines()[0]["out"]["absent"].size(), 60U);
}

TEST_F(OddLists, ThatSayTheyAreLonger) {
    odd->version = {3, 0};
    // A program may read on behind the list, which ends where that of 2.40 does.
    EXPECT_EQ(load().version.major, 2);
}

TEST_F(OddLists, ThatAreNotThere) {
    odd->list = Odd::List::None;
    const platform::DynamicLibrary watch = platform::DynamicLibrary::load(L"" WATCH_MODULE);
    const auto getFunctionList = reinterpret_cast<CK_C_GetFunctionList>(watch.symbol("C_GetFunctionList"));
    CK_FUNCTION_LIST unchanged{};
    CK_FUNCTION_LIST* list = &unchanged;
    EXPECT_EQ(getFunctionList(&list), CKR_OK);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(line()["result"], "CKR_OK");
    *odd = {};
    ASSERT_EQ(getFunctionList(&list), CKR_OK);
    ASSERT_NE(list, nullptr) << "the module has one now";
    EXPECT_EQ(list->C_Finalize(nullptr), CKR_OK);
}

TEST_F(OddLists, OfAModuleWithoutInterfaces) {
    CK_FUNCTION_LIST& list = load();
    const auto getInterface = reinterpret_cast<CK_C_GetInterface>(symbol("C_GetInterface"));
    const auto getInterfaceList = reinterpret_cast<CK_C_GetInterfaceList>(symbol("C_GetInterfaceList"));
    CK_INTERFACE* interface = nullptr;
    CK_UTF8CHAR name[] = "PKCS 11";
    CK_UTF8CHAR other[] = "Vendor";
    CK_VERSION version{2, 40};
    CK_VERSION newer{3, 0};
    ASSERT_EQ(getInterface(name, &version, &interface, 0), CKR_OK);
    EXPECT_EQ(interface->pFunctionList, &list);
    EXPECT_EQ(getInterface(other, nullptr, &interface, 0), CKR_FUNCTION_FAILED);
    EXPECT_EQ(getInterface(name, &newer, &interface, 0), CKR_FUNCTION_FAILED);
    EXPECT_EQ(getInterface(nullptr, nullptr, &interface, CKF_INTERFACE_FORK_SAFE), CKR_FUNCTION_FAILED);
    EXPECT_EQ(getInterface(nullptr, nullptr, nullptr, 0), CKR_ARGUMENTS_BAD);
    CK_ULONG count = 0;
    CK_INTERFACE all[2] = {};
    EXPECT_EQ(getInterfaceList(nullptr, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(getInterfaceList(all, &count), CKR_BUFFER_TOO_SMALL);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(getInterfaceList(all, &count), CKR_OK);
    EXPECT_EQ(all[0].pFunctionList, &list);
    EXPECT_EQ(all[1].pFunctionList, nullptr);
}

} // namespace
