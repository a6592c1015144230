#include "ry/rylog.h"
#include "tests/conformance/Harness.h"
#include "tests/conformance/MutexFault.h"
#include "tests/threads/Memory.h"

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <functional>
#include <thread>

// Sixteen threads, each with executors of its own. What the instance counts say is read off the trace.

using namespace Conformance;

namespace {

constexpr int kThreads = 16;
constexpr int kRounds = 12;

/// Runs `work` on all threads at once.
void onAllThreads(const std::function<void(int)>& work) {
    std::barrier start(kThreads);
    std::vector<std::jthread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&work, &start, i] {
            start.arrive_and_wait();
            work(i);
        });
    }
}

Params named(const std::string& file) {
    return Params().plain("DLLNAME", file);
}

class Threads : public ::testing::Test {
protected:
    void SetUp() override {
        for (Fake::Module* module : {&first, &second}) {
            module->reset();
            module->setRecording(false);
            // A slot for each thread: a login counts for all sessions of a token.
            for (int i = 0; i < kThreads; ++i) {
                module->addSlot(reader(i));
            }
        }
        rylogSetReceiver(&receive, this, 31);
    }
    void TearDown() override {
        rylogSetReceiver(nullptr, nullptr, 0);
        EXPECT_EQ(Executor::alive(), 0);
        EXPECT_EQ(first.sessionCount() + second.sessionCount(), 0U);
    }

    static std::string reader(int thread) { return "Reader " + std::to_string(thread); }

    /// Everything that a credential takes, on the thread's own slot.
    void issue(Executor& executor, int thread) {
        const auto succeeds = [&](const std::string& script, const Params& params = Params::null()) {
            const Result result = executor.execute(script, params);
            EXPECT_EQ(result.value("ERROR"), "0") << script << " on thread " << thread;
            return result;
        };
        const std::string id = Fake::hex(std::string(1, static_cast<char>(thread + 1)));
        ASSERT_EQ(executor.initialize(), std::nullopt);
        succeeds("getReaderList");
        succeeds("getPlatformIdentifiers", Params().hex("READERNAME", Fake::hex(reader(thread))));
        succeeds("init", Params().plain("INIT_KEYID", "SO").hex("INIT_KEY", "3132333435363738"));
        succeeds("initAuthenticator", Params()
                                          .plain("INIT_KEYID", "SO")
                                          .hex("INIT_KEY", "3132333435363738")
                                          .plain("PINID", "USER")
                                          .hex("PIN", "31323334"));
        succeeds("authenticate", Params().plain("AUTH_TYPE", "STATIC").plain("PINID", "USER").hex("PIN", "31323334"));
        succeeds("generateKeyPair", Params()
                                        .plain("ALGOID", kRsa)
                                        .plain("KEYSIZE", "1024")
                                        .base64("PUBLICEXPONENT", "AQAB")
                                        .hex("ID", id)
                                        .plain("SIGN", "1"));
        const Result signature =
            succeeds("signData", Params().plain("ALGOID", kRsa).hex("KEYID", id).base64("DATA", "AQID"));
        EXPECT_TRUE(signature.value("SIGNEDDATA"));
        EXPECT_EQ(succeeds("readData", Params().plain("OBJ_TYPE", "KEY_PAIR").hex("ID", id)).value("COUNT"), "1");
        succeeds("removeData", Params().plain("OBJ_TYPE", "ANY").hex("ID", id));
        succeeds("changeAuthenticator",
                 Params().plain("PINID", "USER").hex("OLD_PIN", "31323334").hex("NEW_PIN", "3132333435"));
        executor.terminate();
    }

    /// The number of executors of a library that newInstance tells when it makes one more.
    int countWithOneMore(const std::string& file) {
        m_lastCount = -1;
        Executor one(named(file));
        return m_lastCount;
    }

    Fake::Module first = Fake::module();
    Fake::Module second = Fake::secondModule();
    std::atomic<int> m_lastCount = -1;

private:
    static void receive(void* context, const RylogRecord* record) {
        constexpr std::string_view kHead = "zel-coe-pkcs11::newInstance:  InstancesCount = ";
        if (const std::string_view text = record->text; text.starts_with(kHead)) {
            static_cast<Threads*>(context)->m_lastCount = std::stoi(std::string(text.substr(kHead.size())));
        }
    }
};

unsigned long calls(const Fake::Module& module, Fake::Function function) {
    return module.callCount(function);
}

} // namespace

TEST_F(Threads, IssueOnOneLibrary) {
    {
        // The one that initialised the module, and goes last: it owes the end.
        const Executor keeper(named(Fake::moduleFile()));
        onAllThreads([this](int thread) {
            for (int round = 0; round < kRounds; ++round) {
                Executor executor(named(Fake::moduleFile()));
                ASSERT_TRUE(executor);
                issue(executor, thread);
            }
        });
        EXPECT_EQ(calls(first, Fake::Function::C_Finalize), 0U);
        EXPECT_TRUE(first.isInitialized());
        EXPECT_EQ(countWithOneMore(Fake::moduleFile()), 2);
    }
    EXPECT_EQ(calls(first, Fake::Function::C_Initialize), kThreads * kRounds + 2U);
    EXPECT_EQ(calls(first, Fake::Function::C_Finalize), 1U);
    EXPECT_FALSE(first.isInitialized());
    EXPECT_EQ(countWithOneMore(Fake::moduleFile()), 1);
}

TEST_F(Threads, IssueOnTwoLibraries) {
    {
        const Executor firstKeeper(named(Fake::moduleFile()));
        Executor secondKeeper(named(Fake::secondModuleFile()));
        onAllThreads([this](int thread) {
            for (int round = 0; round < kRounds; ++round) {
                Executor one(named(Fake::moduleFile()));
                Executor other(named(Fake::secondModuleFile()));
                issue(one, thread);
                issue(other, thread);
            }
        });
        EXPECT_EQ(countWithOneMore(Fake::secondModuleFile()), 2);
        secondKeeper.free();
        EXPECT_FALSE(second.isInitialized());
        EXPECT_TRUE(first.isInitialized()) << "the end of one library is not the other's";
        EXPECT_EQ(countWithOneMore(Fake::moduleFile()), 2);
    }
    EXPECT_EQ(calls(first, Fake::Function::C_Finalize), 1U);
    EXPECT_FALSE(first.isInitialized());
}

// No executor outlives the others, so that some come when the last is just going. Whoever initialised the module and
// was the last of its library has finalised it; no one else has.
TEST_F(Threads, ComeAndGo) {
    onAllThreads([](int thread) {
        for (int round = 0; round < 3 * kRounds; ++round) {
            Executor executor(named(thread % 2 == 0 ? Fake::moduleFile() : Fake::secondModuleFile()));
            ASSERT_TRUE(executor);
            (void)executor.initialize();
            (void)executor.execute("getReaderList");
        }
    });
    for (const Fake::Module& module : {first, second}) {
        EXPECT_EQ(calls(module, Fake::Function::C_Initialize), kThreads / 2 * 3U * kRounds);
        EXPECT_LE(calls(module, Fake::Function::C_Finalize), kThreads / 2 * 3U * kRounds);
    }
    first.setInitialized(false);
    second.setInitialized(false);
    EXPECT_EQ(countWithOneMore(Fake::moduleFile()), 1);
    EXPECT_EQ(countWithOneMore(Fake::secondModuleFile()), 1);
    EXPECT_FALSE(first.isInitialized());
    EXPECT_FALSE(second.isInitialized());
}

// The executor that initialised goes first: nobody finalises.
TEST_F(Threads, FreeOnOtherThreads) {
    std::vector<Executor> executors;
    for (int i = 0; i < kThreads; ++i) {
        executors.emplace_back(named(Fake::moduleFile()));
    }
    executors[0].free();
    onAllThreads([&executors](int thread) { executors[static_cast<std::size_t>(thread)].free(); });
    EXPECT_EQ(calls(first, Fake::Function::C_Finalize), 0U);
    EXPECT_TRUE(first.isInitialized());
    first.setInitialized(false);
    EXPECT_EQ(countWithOneMore(Fake::moduleFile()), 1);
}

// Before the library is counted nothing has happened; the table stays as it was.
TEST_F(Threads, FailuresBeforeTheCount) {
    {
        const Executor keeper(named(Fake::moduleFile()));
        onAllThreads([this](int thread) {
            for (int round = 0; round < kRounds; ++round) {
                EXPECT_FALSE(Executor(named("no-such-library")));
                EXPECT_FALSE(Executor(Params()));
                EXPECT_FALSE(Executor(named(Fake::moduleFile()).plain("DLLNAME", "no-such-library")));
                Executor executor(named(Fake::moduleFile()));
                issue(executor, thread);
            }
        });
        EXPECT_EQ(countWithOneMore(Fake::moduleFile()), 2);
    }
    EXPECT_EQ(calls(first, Fake::Function::C_Finalize), 1U);
    EXPECT_EQ(countWithOneMore(Fake::moduleFile()), 1);
}

// The system refuses a mutex once in a while, to whoever asks next: that one gets no executor, the others work on.
TEST_F(Threads, MutexRefused) {
    std::atomic<int> refused = 0;
    {
        const Executor keeper(named(Fake::moduleFile()));
        onAllThreads([&](int thread) {
            for (int round = 0; round < kRounds; ++round) {
                if (thread == 0) {
                    failNextMutexCreate(12);
                }
                Executor executor(named(Fake::moduleFile()));
                if (executor) {
                    issue(executor, thread);
                } else {
                    ++refused;
                }
            }
        });
        EXPECT_GE(refused, 1);
        EXPECT_LE(refused, kRounds);
        EXPECT_EQ(countWithOneMore(Fake::moduleFile()), 2);
    }
    EXPECT_EQ(calls(first, Fake::Function::C_Finalize), 1U);
    EXPECT_FALSE(first.isInitialized());
}

// A library without C_GetFunctionList is counted, and its executor gives its place back.
TEST_F(Threads, NoModule) {
    onAllThreads([](int) {
        for (int round = 0; round < kRounds; ++round) {
            Executor executor(named(Fake::emptyModuleFile()));
            ASSERT_TRUE(executor);
            EXPECT_NE(executor.initialize(), std::nullopt);
        }
    });
    EXPECT_EQ(countWithOneMore(Fake::emptyModuleFile()), 1);
}

// No memory for the executor itself: the count has been raised by then and stays so, and a library that seems to be in
// use is never finalised.
TEST_F(Threads, NoMemoryForTheExecutor) {
    // Under a name of its own, for the count stays to the end of the process.
    const std::string name = "/." + Fake::moduleFile();
    onAllThreads([&](int) {
        refuseNextExecutor();
        EXPECT_FALSE(Executor(named(name)));
        const Executor executor(named(name));
        EXPECT_TRUE(executor);
    });
    EXPECT_EQ(countWithOneMore(name), kThreads + 1);
    EXPECT_EQ(calls(first, Fake::Function::C_Finalize), 0U);
    EXPECT_TRUE(first.isInitialized());
}
