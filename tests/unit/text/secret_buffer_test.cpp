#include "text/SecretBuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

#include "tests/heap/Heap.h"

namespace {

constexpr std::string_view kSecret = "0123456789abcdef-PIN-of-the-officer";

static_assert(!std::is_copy_constructible_v<SecretBuffer>);
static_assert(!std::is_copy_assignable_v<SecretBuffer>);
static_assert(std::is_nothrow_move_constructible_v<SecretBuffer>);
static_assert(std::is_nothrow_move_assignable_v<SecretBuffer>);

SecretBuffer secretCopy() {
    return SecretBuffer::copyOf({reinterpret_cast<const std::uint8_t*>(kSecret.data()), kSecret.size()});
}

TEST(SecretBuffer, IsNullUntilItIsGivenMemory) {
    const SecretBuffer buffer;
    EXPECT_TRUE(buffer.isNull());
    EXPECT_TRUE(buffer.isEmpty());
    EXPECT_EQ(buffer.data(), nullptr);
    EXPECT_EQ(buffer.size(), 0U);
    EXPECT_EQ(buffer.textLength(), 0U);
    EXPECT_TRUE(buffer.bytes().empty());
}

TEST(SecretBuffer, BeginsAsZeroBytesWithOneMoreBehind) {
    const SecretBuffer buffer(3);
    EXPECT_FALSE(buffer.isNull());
    EXPECT_EQ(buffer.size(), 3U);
    for (std::size_t i = 0; i <= 3; ++i) {
        EXPECT_EQ(buffer.data()[i], 0);
    }
}

TEST(SecretBuffer, OfNoBytesIsNotNull) {
    const SecretBuffer buffer(0);
    EXPECT_FALSE(buffer.isNull());
    EXPECT_TRUE(buffer.isEmpty());
    EXPECT_EQ(*buffer.data(), 0);
    EXPECT_FALSE(SecretBuffer::copyOf({}).isNull());
}

TEST(SecretBuffer, CopiesBytes) {
    const SecretBuffer buffer = secretCopy();
    ASSERT_EQ(buffer.size(), kSecret.size());
    EXPECT_EQ(std::memcmp(buffer.data(), kSecret.data(), kSecret.size()), 0);
    EXPECT_EQ(buffer.data()[buffer.size()], 0);
    EXPECT_EQ(buffer.textLength(), kSecret.size());
    EXPECT_EQ(buffer.bytes().size(), kSecret.size());
}

TEST(SecretBuffer, CountsTextUpToTheFirstZeroByte) {
    const std::uint8_t bytes[] = {'a', 'b', 0, 'c'};
    EXPECT_EQ(SecretBuffer::copyOf(bytes).textLength(), 2U);
}

TEST(SecretBuffer, PassesItsBytesOnWhenMoved) {
    SecretBuffer first = secretCopy();
    const std::uint8_t* const bytes = first.data();
    SecretBuffer second(std::move(first));
    EXPECT_TRUE(first.isNull()); // NOLINT(bugprone-use-after-move): what is left is part of the contract
    EXPECT_EQ(second.data(), bytes);
    SecretBuffer third(5);
    third = std::move(second);
    EXPECT_TRUE(second.isNull()); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(second.size(), 0U);
    EXPECT_EQ(third.data(), bytes);
    EXPECT_EQ(third.size(), kSecret.size());
}

// A watch that saw nothing would pass every other test.
TEST(SecretBuffer, ItsTestsSeeASecretThatWasNotWiped) {
    const TestHeap::Watch watch(kSecret);
    char* volatile block = new char[100]();
    std::memcpy(block + 10, kSecret.data(), kSecret.size());
    delete[] block;
    EXPECT_EQ(watch.leaks(), 1U);
}

TEST(SecretBuffer, WipesWhatItLetsGo) {
    const TestHeap::Watch watch(kSecret);
    { const SecretBuffer buffer = secretCopy(); }
    EXPECT_EQ(watch.blocks(), 1U);
    SecretBuffer cleared = secretCopy();
    cleared.clear();
    EXPECT_TRUE(cleared.isNull());
    SecretBuffer replaced = secretCopy();
    replaced = SecretBuffer(1);
    EXPECT_EQ(watch.blocks(), 3U);
    EXPECT_EQ(watch.leaks(), 0U);
}

TEST(SecretBuffer, WipesAllOfItsMemoryAfterItWasShortened) {
    constexpr std::string_view tail = "-PIN-of-the-officer";
    const TestHeap::Watch watch(tail);
    {
        SecretBuffer buffer = secretCopy();
        buffer.truncate(4);
        // Whoever writes behind the end that was cut off writes into memory that is wiped all the same.
        std::memcpy(buffer.data() + 5, tail.data(), tail.size());
    }
    EXPECT_EQ(watch.blocks(), 1U);
    EXPECT_EQ(watch.leaks(), 0U);
}

TEST(SecretBuffer, WipesTheByteBehindTheLastOneToo) {
    const TestHeap::Watch watch("S");
    {
        SecretBuffer bytes(3);
        // As a module does that puts a terminator of its own there.
        bytes.data()[3] = 'S';
    }
    EXPECT_EQ(watch.leaks(), 0U);
    EXPECT_EQ(watch.blocks(), 1U);
}

TEST(SecretBuffer, IsShortenedAndNeverLengthened) {
    SecretBuffer buffer = secretCopy();
    buffer.truncate(100);
    EXPECT_EQ(buffer.size(), kSecret.size());
    buffer.truncate(4);
    EXPECT_EQ(buffer.size(), 4U);
    EXPECT_EQ(std::memcmp(buffer.data(), "0123", 4), 0);
    EXPECT_TRUE(
        std::all_of(buffer.data() + 4, buffer.data() + kSecret.size() + 1, [](auto byte) { return byte == 0; }));
    buffer.truncate(0);
    EXPECT_FALSE(buffer.isNull());
    EXPECT_TRUE(buffer.isEmpty());
    SecretBuffer null;
    null.truncate(0);
    EXPECT_TRUE(null.isNull());
}

TEST(SecretBuffer, RefusesSizesThatNoTokenMeans) {
    EXPECT_TRUE(SecretBuffer::tryAllocate(std::numeric_limits<std::size_t>::max()).isNull());
    EXPECT_TRUE(SecretBuffer::tryAllocate(std::size_t{1} << 63).isNull());
    EXPECT_TRUE(SecretBuffer::tryAllocate(0xFFFFFFFF).isNull());
    EXPECT_TRUE(SecretBuffer::tryAllocate(SecretBuffer::kLargestTry + 1).isNull());
    EXPECT_EQ(SecretBuffer::kLargestTry, 67108864U);
    EXPECT_EQ(SecretBuffer::tryAllocate(SecretBuffer::kLargestTry).size(), 67108864U);
    EXPECT_EQ(SecretBuffer::tryAllocate(8).size(), 8U);
    EXPECT_FALSE(SecretBuffer::tryAllocate(0).isNull());
}

TEST(SecretBuffer, ThrowsWhenThereIsNoMemory) {
    EXPECT_THROW(static_cast<void>(SecretBuffer(std::numeric_limits<std::size_t>::max())), std::bad_alloc);
    EXPECT_THROW(static_cast<void>(SecretBuffer(std::numeric_limits<std::size_t>::max() - 1)), std::bad_alloc);
}

} // namespace
