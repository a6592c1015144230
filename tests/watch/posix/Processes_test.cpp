#include <atomic>
#include <csignal>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <set>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "platform/AppendedFile.h"
#include "platform/Process.h"
#include "tests/watch/WatchTest.h"

using namespace tests;

namespace {

/// Runs `work` in a forked child and returns how it ended.
template <class Work>
int inChild(Work work) {
    const pid_t child = ::fork();
    if (child == 0) {
        work();
        ::_exit(0);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return status;
}

using Processes = WatchTest;

TEST_F(Processes, OnlyItsOwnerReadsTheRecord) {
    const mode_t before = ::umask(0);
    load();
    ::umask(before);
    struct stat status = {};
    ASSERT_EQ(::stat(record.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(Processes, ALinkIsNoRecord) {
    const std::string other = folder.file("other");
    {
        const int made = ::open(other.c_str(), O_CREAT | O_WRONLY, 0600);
        ::close(made);
    }
    ASSERT_EQ(::symlink(other.c_str(), record.c_str()), 0);
    testing::internal::CaptureStderr();
    load().C_CloseSession(1);
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(contentOf(other), "");
}

TEST_F(Processes, AForkedChildGoesOnUnderItsOwnNumber) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer's operator new waits for ever in a child that was forked while a thread allocated";
#endif
    CK_FUNCTION_LIST& list = load();
    // Another thread writes while this one forks: its locks must not stay locked in the child.
    std::atomic<bool> isDone = false;
    std::jthread other([&] {
        while (!isDone) {
            list.C_CloseSession(1);
        }
    });
    for (CK_ULONG i = 0; i < 20; ++i) {
        EXPECT_EQ(inChild([&] { list.C_CloseSession(1000 + i); }), 0);
    }
    isDone = true;
    other.join();
    std::set<std::uint64_t> children;
    for (const Json& line : lines()) {
        if (line["in"].value("session", 0) >= 1000) {
            children.insert(line["process"].get<std::uint64_t>());
            EXPECT_EQ(line["process"], line["thread"]);
        }
    }
    EXPECT_EQ(children.size(), 20U);
    EXPECT_FALSE(children.contains(static_cast<std::uint64_t>(::getpid())));
}

TEST_F(Processes, TwoWriteIntoOneRecordThatIsRenamedMeanwhile) {
    platform::setEnvironmentVariable("P11WATCH_LIMIT", "100000");
    CK_FUNCTION_LIST& list = load();
    constexpr CK_ULONG kCalls = 400;
    const pid_t child = ::fork();
    for (CK_ULONG i = 0; i < kCalls; ++i) {
        list.C_CloseSession((child == 0 ? 10000 : 1) + i);
    }
    if (child == 0) {
        ::_exit(0);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    std::set<CK_ULONG> sessions;
    for (const std::string& file : {record, record + ".1"}) {
        if (::access(file.c_str(), F_OK) == 0) {
            for (const Json& line : linesOf(file)) { // each line is whole
                sessions.insert(line["in"].value("session", CK_ULONG{0}));
            }
        }
    }
    sessions.erase(0);
    EXPECT_EQ(::access((record + ".1").c_str(), F_OK), 0);
    EXPECT_EQ(sessions.size(), 2 * kCalls);
}

TEST_F(Processes, ParentAndChildRenameAFullFileOnce) {
    // Both have the file open through one descriptor, made before the fork.
    const std::string older = record + ".1";
    for (int i = 0; i < 200; ++i) {
        std::filesystem::remove(record);
        platform::AppendedFile file;
        ASSERT_TRUE(file.open(record.c_str()));
        ASSERT_EQ(file.append("full", 4), 4U);
        const pid_t child = ::fork();
        const bool isDone = file.rotate(record.c_str(), older.c_str(), 4);
        if (child == 0) {
            ::_exit(isDone ? 0 : 1);
        }
        int status = -1;
        ::waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
        EXPECT_TRUE(isDone);
        ASSERT_EQ(contentOf(older), "full") << "the new file was renamed, too";
        file.close();
    }
}

std::atomic<bool> g_isAsked = false;
std::atomic<bool> g_isAnswered = false;

TEST_F(Processes, AForkWhileAnotherThreadAsksTheModuleForItsList) {
    const platform::DynamicLibrary watch = platform::DynamicLibrary::load(L"" WATCH_MODULE);
    const auto getFunctionList = reinterpret_cast<CK_C_GetFunctionList>(watch.symbol("C_GetFunctionList"));
    loud->beforeList = [] {
        g_isAsked = true;
        g_isAnswered.wait(false);
    };
    CK_FUNCTION_LIST* list = nullptr;
    std::thread other([&] { getFunctionList(&list); });
    while (!g_isAsked) {
        std::this_thread::yield();
    }
    const int status = inChild([&] {
        ::alarm(60); // ends the child that waits for a thread which it does not have
        loud->beforeList = nullptr;
        CK_FUNCTION_LIST* own = nullptr;
        ::_exit(getFunctionList(&own) == CKR_OK && own->C_CloseSession(1) == CKR_OK ? 0 : 1);
    });
    g_isAnswered = true;
    g_isAnswered.notify_all();
    other.join();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(list->C_Finalize(nullptr), CKR_OK);
}

TEST_F(Processes, AModuleThatForksWhenItIsAskedForItsList) {
    const platform::DynamicLibrary watch = platform::DynamicLibrary::load(L"" WATCH_MODULE);
    const auto getFunctionList = reinterpret_cast<CK_C_GetFunctionList>(watch.symbol("C_GetFunctionList"));
    loud->beforeList = [] { EXPECT_EQ(inChild([] {}), 0); };
    CK_FUNCTION_LIST* list = nullptr;
    EXPECT_EQ(getFunctionList(&list), CKR_OK);
    EXPECT_EQ(list->C_Finalize(nullptr), CKR_OK);
}

/// A program with another PKCS#11 library, whose functions it lets every library see.
class AmongOthers : public WatchTest {
protected:
    AmongOthers() : m_other(::dlopen(ODD_MODULE, RTLD_NOW | RTLD_GLOBAL)) { EXPECT_NE(m_other, nullptr); }
    ~AmongOthers() override { ::dlclose(m_other); }

private:
    void* m_other;
};

TEST_F(AmongOthers, ItsListHasItsOwnFunctions) {
    const CK_FUNCTION_LIST& list = load();
    EXPECT_EQ(reinterpret_cast<void*>(list.C_GetFunctionList), symbol("C_GetFunctionList"));
}

TEST_F(AmongOthers, ItRefusesItself) {
    platform::setEnvironmentVariable("P11WATCH_MODULE", WATCH_MODULE);
    const platform::DynamicLibrary watch = platform::DynamicLibrary::load(L"" WATCH_MODULE);
    const int status = inChild([&] {
        ::alarm(60); // ends the child that asks itself for ever
        CK_FUNCTION_LIST* list = nullptr;
        ::_exit(reinterpret_cast<CK_C_GetFunctionList>(watch.symbol("C_GetFunctionList"))(&list) ==
                        CKR_LIBRARY_LOAD_FAILED
                    ? 0
                    : 1);
    });
    EXPECT_EQ(status, 0);
}

TEST_F(Processes, ACrashLosesNoFinishedCall) {
    CK_FUNCTION_LIST& list = load();
    const int status = inChild([&] {
        std::signal(SIGSEGV, SIG_DFL);
        const struct rlimit none = {0, 0};
        ::setrlimit(RLIMIT_CORE, &none);
        list.C_CloseSession(1);
        list.C_CloseSession(2);
        loud->during = [] { ::kill(::getpid(), SIGKILL); };
        list.C_CloseSession(3);
    });
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(line()["in"]["session"], 2);
}

TEST_F(Processes, AFullDiskLetsCallsPassAndTearsOneLineAtMost) {
    CK_FUNCTION_LIST& list = load();
    testing::internal::CaptureStderr();
    std::signal(SIGXFSZ, SIG_IGN);
    const int status = inChild([&] {
        const struct rlimit small = {static_cast<rlim_t>(contentOf(record).size() + 100), RLIM_INFINITY};
        ::setrlimit(RLIMIT_FSIZE, &small);
        const bool passed = list.C_CloseSession(1) == CKR_OK && list.C_CloseSession(2) == CKR_OK;
        const struct rlimit large = {RLIM_INFINITY, RLIM_INFINITY};
        ::setrlimit(RLIMIT_FSIZE, &large);
        list.C_CloseSession(3);
        ::_exit(passed ? 0 : 1);
    });
    EXPECT_EQ(status, 0);
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
    const std::string content = contentOf(record);
    const std::size_t last = content.rfind('\n', content.size() - 2) + 1;
    EXPECT_EQ(Json::parse(content.substr(last))["in"]["session"], 3);
    EXPECT_EQ(std::count(content.begin(), content.end(), '\n'), 3) << "the torn line is a line of its own";
}

TEST_F(Processes, ARecordThatALibraryClosedIsLeftAlone) {
    CK_FUNCTION_LIST& list = load();
    testing::internal::CaptureStderr();
    const std::string theirs = folder.file("theirs");
    const int status = inChild([&] {
        for (int descriptor = 3; descriptor < 64; ++descriptor) {
            ::close(descriptor);
        }
        while (::open(theirs.c_str(), O_CREAT | O_WRONLY, 0600) < 32) {
        }
        ::_exit(list.C_CloseSession(1) == CKR_OK ? 0 : 1);
    });
    EXPECT_EQ(status, 0);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("a library has closed the record"), std::string::npos);
    EXPECT_EQ(contentOf(theirs), "");
}

} // namespace
