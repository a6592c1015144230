#include "platform/Mutex.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

TEST(Mutex, KeepsThreadsApart) {
    platform::Mutex mutex;
    std::uint32_t error = 99;
    ASSERT_TRUE(mutex.create(error));
    EXPECT_EQ(error, 0U);
    int count = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < 50; ++j) {
                mutex.lock();
                // Read and write apart, so that a lost update would show. On a busy machine each yield takes long.
                const int seen = count;
                std::this_thread::yield();
                count = seen + 1;
                mutex.unlock();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(count, 200);
}

TEST(Mutex, MayBeLockedAgainByTheThreadThatHoldsIt) {
    platform::Mutex mutex;
    std::uint32_t error = 0;
    ASSERT_TRUE(mutex.create(error));
    mutex.lock();
    mutex.lock();
    mutex.unlock();
    mutex.unlock();
}

TEST(Mutex, LocksNothingWhenItWasNotCreated) {
    platform::Mutex mutex;
    mutex.lock();
    mutex.unlock();
}

} // namespace
