#include <gtest/gtest.h>

#include <barrier>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <string>
#include <thread>

#include "cryptoki/Version3.h"
#include "platform/DynamicLibrary.h"
#include "platform/Process.h"
#include "text/Utf8.h"

// Sixteen threads make calls through p11watch, into a record that becomes another one all the time.

namespace {

namespace fs = std::filesystem;

constexpr CK_ULONG kThreads = 16;
constexpr CK_ULONG kRounds = 30;

void onAllThreads(const std::function<void(CK_ULONG)>& work) {
    std::barrier start(static_cast<std::ptrdiff_t>(kThreads));
    std::vector<std::jthread> threads;
    for (CK_ULONG i = 0; i < kThreads; ++i) {
        threads.emplace_back([&work, &start, i] {
            start.arrive_and_wait();
            work(i);
        });
    }
}

class WatchThreads : public ::testing::Test {
protected:
    WatchThreads() { fs::create_directory(m_folder); }
    /// Other threads may have gone on after the module was finalised, and the library is unloaded next.
    ~WatchThreads() override {
        CK_FUNCTION_LIST* list = nullptr;
        symbol<CK_C_GetFunctionList>("C_GetFunctionList")(&list);
        EXPECT_EQ(list->C_Finalize(nullptr), CKR_OK);
        fs::remove_all(m_folder);
    }

    void load(const char* module, const std::string& limit) {
        platform::setEnvironmentVariable("P11WATCH_MODULE", module);
        platform::setEnvironmentVariable("P11WATCH_FILE", record());
        platform::setEnvironmentVariable("P11WATCH_LIMIT", limit);
        m_watch = platform::DynamicLibrary::load(text::toWide(WATCH_MODULE).c_str());
        ASSERT_TRUE(m_watch.isLoaded()) << platform::DynamicLibrary::lastError();
    }
    template <class Function>
    Function symbol(const char* name) const {
        return reinterpret_cast<Function>(m_watch.symbol(name));
    }
    [[nodiscard]] std::string record() const { return (m_folder / "record.jsonl").string(); }
    /// How many lines the record has; each of them is whole and has a number of its own.
    [[nodiscard]] std::size_t lines() const {
        std::set<std::uint64_t> numbers;
        std::ifstream file(record());
        for (std::string line; std::getline(file, line);) {
            EXPECT_TRUE(numbers.insert(nlohmann::json::parse(line).at("n").get<std::uint64_t>()).second) << line;
        }
        return numbers.size();
    }

private:
    fs::path m_folder = fs::temp_directory_path() / ("watch-threads-" + std::to_string(std::random_device()()));
    platform::DynamicLibrary m_watch;
};

/// What a credential's use takes, in a session of the thread's own and with objects that all threads know.
void use(CK_FUNCTION_LIST& list, CK_SESSION_HANDLE session) {
    CK_UTF8CHAR pin[] = "123456";
    list.C_Login(session, CKU_USER, pin, 6);
    CK_OBJECT_CLASS objectClass = CKO_CERTIFICATE;
    CK_ATTRIBUTE certificate{CKA_CLASS, &objectClass, sizeof objectClass};
    list.C_FindObjectsInit(session, &certificate, 1);
    CK_OBJECT_HANDLE object = 0;
    CK_ULONG count = 0;
    list.C_FindObjects(session, &object, 1, &count);
    CK_BYTE value[64];
    CK_ATTRIBUTE attributes[] = {{CKA_CLASS, &objectClass, sizeof objectClass}, {CKA_VALUE, value, sizeof value}};
    list.C_GetAttributeValue(session, object, attributes, 2);
    CK_ULONG length = sizeof value;
    list.C_Sign(session, pin, 6, value, &length);
    list.C_DestroyObject(session, object);
    list.C_Logout(session);
    list.C_CloseSession(session);
}

TEST_F(WatchThreads, callsOfAllKindsEachOnce) {
    load(LOUD_MODULE, "");
    CK_FUNCTION_LIST* list = nullptr;
    ASSERT_EQ(symbol<CK_C_GetFunctionList>("C_GetFunctionList")(&list), CKR_OK);
    onAllThreads([&](CK_ULONG thread) {
        for (CK_ULONG i = 0; i < kRounds; ++i) {
            use(*list, thread + 1);
        }
    });
    EXPECT_EQ(lines(), 1 + kThreads * kRounds * 8);
}

TEST_F(WatchThreads, aRecordThatBecomesAnotherAndAModuleThatIsFinalised) {
    load(LOUD_MODULE, "5000");
    onAllThreads([&](CK_ULONG thread) {
        for (CK_ULONG i = 0; i < kRounds; ++i) {
            CK_FUNCTION_LIST* list = nullptr;
            EXPECT_EQ(symbol<CK_C_GetFunctionList>("C_GetFunctionList")(&list), CKR_OK);
            CK_INTERFACE* interface = nullptr;
            EXPECT_EQ(symbol<CK_C_GetInterface>("C_GetInterface")(nullptr, nullptr, &interface, 0), CKR_OK);
            use(*list, thread + 1);
            if (thread == 0) {
                list->C_Finalize(nullptr);
            }
        }
    });
    EXPECT_GT(lines(), 0U);
    EXPECT_TRUE(fs::exists(record() + ".1"));
}

TEST_F(WatchThreads, theInterfaceOfAModuleWithoutAny) {
    constexpr CK_ULONG kQuestions = 500;
    load(ODD_MODULE, "");
    onAllThreads([&](CK_ULONG) {
        for (CK_ULONG i = 0; i < kQuestions; ++i) {
            CK_INTERFACE* interface = nullptr;
            EXPECT_EQ(symbol<CK_C_GetInterface>("C_GetInterface")(nullptr, nullptr, &interface, 0), CKR_OK);
            EXPECT_NE(static_cast<CK_FUNCTION_LIST*>(interface->pFunctionList)->C_Initialize, nullptr);
        }
    });
    EXPECT_EQ(lines(), kThreads * kQuestions);
}

} // namespace
