#include "zel/Allocator.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

#include <gtest/gtest.h>

TEST(Allocator, GivesWritableAlignedBlocks) {
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{17}, std::size_t{100000}}) {
        void* const block = Zel::allocate(size);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0U);
        std::memset(block, 0xAB, size);
        Zel::release(block);
    }
}

TEST(Allocator, ReportsMissingMemory) {
    volatile std::size_t tooMuch = SIZE_MAX; // the header alone takes it past the end of counting
    EXPECT_THROW(Zel::allocate(tooMuch), std::bad_alloc);
    EXPECT_EQ(Zel::tryAllocate(tooMuch), nullptr);
}

TEST(Allocator, ReleasesNull) {
    Zel::release(nullptr);
}

TEST(Allocator, WipesWhatIsReleased) {
    constexpr std::size_t kSize = 200;
    void* const first = Zel::allocate(kSize);
    const auto address = reinterpret_cast<std::uintptr_t>(first);
    std::memset(first, 0xAB, kSize);
    Zel::release(first);
    void* const second = Zel::allocate(kSize);
    if (reinterpret_cast<std::uintptr_t>(second) != address) {
        Zel::release(second);
        GTEST_SKIP() << "this heap does not give the same block again";
    }
    std::size_t leftOver = 0;
    for (std::size_t i = 0; i < kSize; ++i) {
        leftOver += static_cast<volatile unsigned char*>(second)[i] == 0xAB ? 1 : 0;
    }
    Zel::release(second);
    EXPECT_EQ(leftOver, 0U);
}
