#include "tests/fake/test/FakeTest.h"

#include <atomic>
#include <thread>

using Fake::Function;

TEST_F(FakeTest, sixteenThreadsShareTheModule) {
    constexpr int kThreads = 16;
    constexpr int kRounds = 200;
    initialize();
    fake.takeCalls();
    fake.restartCallCount();
    fake.answerNext(Function::C_GetSessionInfo, CKR_DEVICE_ERROR, kThreads);
    std::atomic<int> failures = 0;
    const auto work = [&] {
        for (int i = 0; i < kRounds; ++i) {
            CK_SESSION_HANDLE session = 0;
            CK_SESSION_INFO info = {};
            p11->C_OpenSession(Fake::kSlot, 6, nullptr, nullptr, &session);
            failures += p11->C_GetSessionInfo(session, &info) == CKR_DEVICE_ERROR ? 1 : 0;
            CK_OBJECT_HANDLE object = 0;
            create(session, certificate("01").boolean(CKA_MODIFIABLE, true), &object);
            p11->C_DestroyObject(session, object);
            p11->C_CloseSession(session);
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back(work);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures, kThreads);
    EXPECT_EQ(fake.callCount(), 5UL * kThreads * kRounds);
    EXPECT_EQ(fake.takeCalls().size(), 5UL * kThreads * kRounds);
    EXPECT_EQ(fake.sessionCount(), 0U);
    EXPECT_TRUE(fake.objects().empty());
}
