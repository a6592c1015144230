#include <atomic>
#include <barrier>
#include <fstream>
#include <set>
#include <thread>

#include "platform/Process.h"
#include "tests/watch/WatchTest.h"

// What a line of the record says, and what becomes of the file.

using namespace tests;

namespace {

using Record = WatchTest;

CK_ULONG kNonsense() {
    return static_cast<CK_ULONG>(-1);
}

TEST_F(Record, ACallWithNameArgumentsResultAndTimes) {
    CK_FUNCTION_LIST& list = load();
    loud->result = CKR_PIN_LOCKED;
    CK_UTF8CHAR pin[] = "1234";
    EXPECT_EQ(list.C_Login(5, CKU_SO, pin, 4), CKR_PIN_LOCKED);
    const Json last = line();
    std::set<std::string> keys;
    for (const auto& item : last.items()) {
        keys.insert(item.key());
    }
    EXPECT_EQ(keys,
              (std::set<std::string>{"n", "time", "duration", "process", "thread", "call", "in", "out", "result"}));
    EXPECT_EQ(last["n"], 2);
    EXPECT_EQ(last["call"], "C_Login");
    EXPECT_EQ(last["result"], "CKR_PIN_LOCKED");
    EXPECT_EQ(last["in"], Json({{"session", 5}, {"userType", "CKU_SO"}, {"pin", "masked"}}));
    EXPECT_EQ(last["out"], Json::object());
    EXPECT_GT(std::stoull(last["time"].get<std::string>()), 1'700'000'000'000'000'000U);
    EXPECT_GE(last["duration"].get<std::int64_t>(), 0);
    EXPECT_GT(last["process"].get<std::uint64_t>(), 0U);
    EXPECT_GT(last["thread"].get<std::uint64_t>(), 0U);
}

TEST_F(Record, ATemplateByNamesWithValuesByTheirForm) {
    CK_FUNCTION_LIST& list = load();
    CK_OBJECT_CLASS objectClass = CKO_CERTIFICATE;
    CK_BBOOL yes = CK_TRUE;
    CK_BBOOL odd = 7;
    CK_ULONG bits = 2048;
    char label[] = "a\"\n";
    char broken[] = "\xFF";
    CK_MECHANISM_TYPE mechanisms[] = {CKM_RSA_PKCS, 0x80001234U};
    CK_BYTE id[] = {1, 0xAB};
    CK_ATTRIBUTE attributes[] = {{CKA_CLASS, &objectClass, sizeof objectClass},
                                 {CKA_TOKEN, &yes, 1},
                                 {CKA_PRIVATE, &odd, 1},
                                 {CKA_MODULUS_BITS, &bits, sizeof bits},
                                 {CKA_LABEL, label, 3},
                                 {CKA_LABEL, broken, 1},
                                 {CKA_ALLOWED_MECHANISMS, mechanisms, sizeof mechanisms},
                                 {CKA_ID, id, 2},
                                 {0x80000001U, id, 2},
                                 {CKA_SUBJECT, nullptr, 0}};
    CK_OBJECT_HANDLE object = 0;
    list.C_CreateObject(1, attributes, std::size(attributes), &object);
    const auto entry = [](const char* type, std::size_t length, Json value) {
        return Json({{"type", type}, {"length", length}, {"value", std::move(value)}});
    };
    EXPECT_EQ(
        line()["in"]["template"],
        Json::array({entry("CKA_CLASS", sizeof objectClass, "CKO_CERTIFICATE"), entry("CKA_TOKEN", 1, true),
                     entry("CKA_PRIVATE", 1, {{"hex", "07"}}), entry("CKA_MODULUS_BITS", sizeof bits, 2048),
                     entry("CKA_LABEL", 3, "a\"\n"), entry("CKA_LABEL", 1, {{"hex", "FF"}}),
                     entry("CKA_ALLOWED_MECHANISMS", sizeof mechanisms, {"CKM_RSA_PKCS", "0x80001234"}),
                     entry("CKA_ID", 2, "01AB"), entry("0x80000001", 2, "01AB"), entry("CKA_SUBJECT", 0, nullptr)}));
    EXPECT_EQ(line()["out"]["object"], Loud::kHandle);
}

TEST_F(Record, TheNumbersOfAMechanismsParameter) {
    CK_FUNCTION_LIST& list = load();
    CK_RSA_PKCS_PSS_PARAMS pss{CKM_SHA256, 2, 32};
    CK_MECHANISM mechanism{CKM_RSA_PKCS_PSS, &pss, sizeof pss};
    list.C_SignInit(1, &mechanism, 3);
    EXPECT_EQ(line()["in"]["mechanism"],
              Json({{"type", "CKM_RSA_PKCS_PSS"},
                    {"parameter", {{"length", sizeof pss}, {"hashAlg", CKM_SHA256}, {"mgf", 2}, {"sLen", 32}}}}));
    mechanism.ulParameterLen = 1;
    list.C_SignInit(1, &mechanism, 3);
    EXPECT_EQ(line()["in"]["mechanism"]["parameter"], Json({{"length", 1}, {"value", "masked"}}));
}

TEST_F(Record, WhatTheListLacksIsAbsent) {
    CK_FUNCTION_LIST& list = load();
    EXPECT_EQ(list.C_CancelFunction, nullptr);
    EXPECT_NE(list.C_GetFunctionStatus, nullptr);
    EXPECT_EQ(lines()[0]["call"], "C_GetFunctionList");
    EXPECT_EQ(lines()[0]["out"], Json({{"version", {2, 40}}, {"absent", {"C_CancelFunction"}}}));
}

TEST_F(Record, InterfacesThatAreKnownAreRecordedAndOthersPassAsTheyAre) {
    CK_FUNCTION_LIST& list = load();
    const auto getInterface = reinterpret_cast<CK_C_GetInterface>(symbol("C_GetInterface"));
    const auto getInterfaceList = reinterpret_cast<CK_C_GetInterfaceList>(symbol("C_GetInterfaceList"));
    CK_ULONG count = 0;
    EXPECT_EQ(getInterfaceList(nullptr, &count), CKR_OK);
    ASSERT_EQ(count, 4U);
    CK_INTERFACE interfaces[4];
    EXPECT_EQ(getInterfaceList(interfaces, &count), CKR_OK);
    const std::vector<bool> recorded{true, true, false, false};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(line()["out"]["interfaces"][i]["recorded"], recorded[i]);
    }
    EXPECT_EQ(interfaces[1].pFunctionList, &list) << "the module's one list has one list in front of it";
    EXPECT_NE(interfaces[2].pFunctionList, &list);
    EXPECT_EQ(line()["out"]["interfaces"][2]["name"], "Vendor Loud");
    EXPECT_EQ(line()["out"]["interfaces"][3]["version"], Json({3, 2}));

    CK_INTERFACE* interface = nullptr;
    EXPECT_EQ(getInterface(nullptr, nullptr, &interface, 0), CKR_OK);
    EXPECT_EQ(interface->pFunctionList, interfaces[0].pFunctionList);
    EXPECT_EQ(interface->flags, CKF_INTERFACE_FORK_SAFE);
    static_cast<CK_FUNCTION_LIST_3_0*>(interface->pFunctionList)->added.C_SessionCancel(1, 6);
    EXPECT_EQ(line()["call"], "C_SessionCancel");
    EXPECT_EQ(getInterface(nullptr, nullptr, &interface, 3), CKR_OK);
    EXPECT_EQ(line()["out"]["interface"]["recorded"], false);
}

TEST_F(Record, MoreListsThanThereIsRoomForPassAsTheyAre) {
    const platform::DynamicLibrary watch = platform::DynamicLibrary::load(L"" WATCH_MODULE);
    const auto getInterface = reinterpret_cast<CK_C_GetInterface>(watch.symbol("C_GetInterface"));
    const auto getFunctionList = reinterpret_cast<CK_C_GetFunctionList>(watch.symbol("C_GetFunctionList"));
    CK_INTERFACE* interface = nullptr;
    for (loud->list = 0; loud->list < 2; ++loud->list) {
        EXPECT_EQ(getInterface(nullptr, nullptr, &interface, 1), CKR_OK);
        EXPECT_EQ(line()["out"]["interface"]["recorded"], true);
    }
    testing::internal::CaptureStderr();
    CK_FUNCTION_LIST* list = nullptr;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(getFunctionList(&list), CKR_OK);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "p11watch: the module has more function lists than can be recorded; calls of this one pass and are not "
              "recorded\n");
    ASSERT_NE(list, nullptr);
    const std::size_t before = lines().size();
    EXPECT_EQ(list->C_CloseSession(1), CKR_OK);
    EXPECT_EQ(lines().size(), before);
    EXPECT_EQ(getInterface(nullptr, nullptr, &interface, 0), CKR_OK);
    static_cast<CK_FUNCTION_LIST_3_0*>(interface->pFunctionList)->base.C_Finalize(nullptr);
}

TEST_F(Record, LengthsAndCountsThatAreNonsense) {
    CK_FUNCTION_LIST& list = load();
    for (const CK_ULONG length : {kNonsense(), kNonsense() - 1, static_cast<CK_ULONG>(1U << 31U), CK_ULONG{17}}) {
        loud->length = length;
        char bytes[16];
        CK_ATTRIBUTE attributes[] = {{CKA_LABEL, bytes, 16},
                                     {CKA_WRAP_TEMPLATE, bytes, 16},
                                     {CKA_ALLOWED_MECHANISMS, bytes, 16},
                                     {CKA_MODULUS_BITS, bytes, 16}};
        EXPECT_EQ(list.C_GetAttributeValue(1, 7, attributes, 4), CKR_OK);
        EXPECT_FALSE(line()["out"]["template"][0].contains("value"));
        EXPECT_EQ(attributes[0].ulValueLen, length);
        CK_BYTE signature[16];
        CK_ULONG room = 16;
        list.C_Sign(1, signature, 1, signature, &room);
        EXPECT_FALSE(line()["out"]["signature"].contains("value"));
        CK_ULONG count = 2;
        CK_SLOT_ID slots[2];
        list.C_GetSlotList(CK_FALSE, slots, &count);
        EXPECT_FALSE(line()["out"]["slots"].contains("values"));
        CK_OBJECT_HANDLE objects[2];
        list.C_FindObjects(1, objects, 2, &count);
        EXPECT_FALSE(line()["out"]["objects"].contains("values"));
        EXPECT_EQ(line()["out"]["objects"]["count"] == -1, length == kNonsense());
    }
    // The program's own length may be nonsense, too, in a call that fails for another attribute.
    loud->length = kNonsense();
    loud->result = CKR_ATTRIBUTE_TYPE_INVALID;
    char bytes[16];
    CK_ATTRIBUTE attributes[] = {{CKA_LABEL, bytes, kNonsense()}, {CKA_ID, bytes, 16}};
    list.C_GetAttributeValue(1, 7, attributes, 2);
    EXPECT_FALSE(line()["out"]["template"][0].contains("value"));
    loud->result = CKR_OK;
    // What a module put into a template inside a template is not followed.
    loud->length = sizeof(CK_ATTRIBUTE);
    CK_ATTRIBUTE inner{CKA_LABEL, nullptr, 1000};
    CK_ATTRIBUTE outer{CKA_WRAP_TEMPLATE, &inner, sizeof inner};
    list.C_GetAttributeValue(1, 7, &outer, 1);
    EXPECT_EQ(line()["out"]["template"][0]["value"], "masked");
}

TEST_F(Record, NullPointersPass) {
    CK_FUNCTION_LIST& list = load();
    list.C_Login(1, CKU_USER, nullptr, 0);
    EXPECT_EQ(line()["in"]["pin"], nullptr);
    list.C_FindObjectsInit(1, nullptr, 5);
    EXPECT_EQ(line()["in"]["template"], nullptr);
    list.C_SignInit(1, nullptr, 1);
    EXPECT_EQ(line()["in"]["mechanism"], nullptr);
    EXPECT_EQ(reinterpret_cast<CK_C_GetFunctionList>(symbol("C_GetFunctionList"))(nullptr), CKR_ARGUMENTS_BAD);
}

TEST_F(Record, BecomesAnotherFileWhenItIsFull) {
    platform::setEnvironmentVariable("P11WATCH_LIMIT", "2000");
    CK_FUNCTION_LIST& list = load();
    for (CK_ULONG i = 0; i < 40; ++i) {
        list.C_CloseSession(i);
    }
    const std::vector<Json> older = linesOf(record + ".1");
    const std::vector<Json> newer = lines();
    ASSERT_FALSE(older.empty());
    ASSERT_FALSE(newer.empty());
    EXPECT_EQ(newer.back()["in"]["session"], 39);
    EXPECT_EQ(older.back()["n"].get<int>() + 1, newer.front()["n"].get<int>()) << "nothing lies between the two";
    EXPECT_LT(contentOf(record).size(), 2300U);
    EXPECT_LT(contentOf(record + ".1").size(), 2300U);
}

TEST_F(Record, ThatCannotBeWrittenLetsCallsPass) {
    record = folder.file("not-there/record.jsonl");
    platform::setEnvironmentVariable("P11WATCH_FILE", record);
    testing::internal::CaptureStderr();
    CK_FUNCTION_LIST& list = load();
    CK_SESSION_HANDLE session = 0;
    EXPECT_EQ(list.C_OpenSession(1, 6, nullptr, nullptr, &session), CKR_OK);
    EXPECT_EQ(session, Loud::kHandle);
    EXPECT_EQ(list.C_CloseSession(session), CKR_OK);
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(errors.starts_with("p11watch: cannot write the record \"" + record + "\": ")) << errors;
    EXPECT_TRUE(errors.ends_with("; calls pass and are not recorded\n")) << errors;
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
}

TEST_F(Record, OfManyThreadsHasEachCallOnce) {
    CK_FUNCTION_LIST& list = load();
    constexpr int kThreads = 16;
    constexpr CK_ULONG kCalls = 50;
    std::barrier start(kThreads);
    std::vector<std::thread> callers;
    for (CK_ULONG i = 0; i < kThreads; ++i) {
        callers.emplace_back([&, i] {
            start.arrive_and_wait();
            for (CK_ULONG j = 0; j < kCalls; ++j) {
                list.C_CloseSession(i * 1000 + j);
            }
        });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    std::set<CK_ULONG> sessions;
    std::set<std::uint64_t> numbers;
    std::set<std::uint64_t> threads;
    for (const Json& entry : lines()) {
        numbers.insert(entry["n"].get<std::uint64_t>());
        if (entry["call"] == "C_CloseSession") {
            sessions.insert(entry["in"]["session"].get<CK_ULONG>());
            threads.insert(entry["thread"].get<std::uint64_t>());
        }
    }
    EXPECT_EQ(sessions.size(), kThreads * kCalls);
    EXPECT_EQ(numbers.size(), kThreads * kCalls + 1);
    EXPECT_EQ(threads.size(), std::size_t{kThreads});
}

TEST(Loading, SaysWhyTheModuleCannotBeHad) {
    const auto says = [](const std::string& module) {
        platform::setEnvironmentVariable("P11WATCH_MODULE", module);
        platform::setEnvironmentVariable("P11WATCH_FILE", "");
        testing::internal::CaptureStderr();
        const platform::DynamicLibrary watch = platform::DynamicLibrary::load(L"" WATCH_MODULE);
        CK_FUNCTION_LIST* list = nullptr;
        EXPECT_EQ(reinterpret_cast<CK_C_GetFunctionList>(watch.symbol("C_GetFunctionList"))(&list),
                  CKR_LIBRARY_LOAD_FAILED);
        EXPECT_EQ(list, nullptr);
        return testing::internal::GetCapturedStderr();
    };
    EXPECT_NE(says("").find("p11watch: P11WATCH_MODULE names no PKCS#11 module\n"), std::string::npos);
    EXPECT_NE(says("not-there.so").find("p11watch: cannot load the module \"not-there.so\": "), std::string::npos);
    EXPECT_NE(says(WATCH_MODULE).find("p11watch: P11WATCH_MODULE names p11watch itself\n"), std::string::npos);
}

} // namespace
