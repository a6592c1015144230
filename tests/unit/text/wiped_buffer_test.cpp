#include "text/WipedBuffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <type_traits>

#include "tests/heap/Heap.h"

namespace {

using Buffer = text::WipedBuffer<char, 8>;

static_assert(!std::is_copy_constructible_v<Buffer>);
static_assert(!std::is_copy_assignable_v<Buffer>);

TEST(WipedBuffer, KeepsWhatIsAppendedInOrder) {
    Buffer buffer;
    EXPECT_EQ(buffer.view(), "");
    std::string expected;
    for (int i = 0; i < 100; ++i) {
        buffer.append("ab");
        buffer.append('c');
        expected += "abc";
        ASSERT_EQ(buffer.view(), expected);
    }
    EXPECT_FALSE(buffer.hasFailed());
    buffer.clear();
    EXPECT_EQ(buffer.length(), 0U);
}

TEST(WipedBuffer, TakesWhatIsWrittenIntoReservedRoom) {
    text::WipedBuffer<wchar_t, 4> buffer;
    buffer.append(L"abc");
    wchar_t* const place = buffer.reserve(10);
    ASSERT_NE(place, nullptr);
    place[0] = L'd';
    buffer.commit(place + 1);
    EXPECT_EQ(buffer.view(), L"abcd");
}

TEST(WipedBuffer, FailsWithoutMemoryAndTakesNothingMore) {
    Buffer buffer;
    buffer.append("ab");
    EXPECT_EQ(buffer.reserve(std::numeric_limits<std::size_t>::max()), nullptr);
    EXPECT_TRUE(buffer.hasFailed());
    buffer.append("0123456789");
    EXPECT_EQ(buffer.view(), "ab");
}

TEST(WipedBuffer, WipesItsRoomOnTheHeap) {
    const TestHeap::Watch watch("secret");
    {
        Buffer buffer;
        for (int i = 0; i < 20; ++i) {
            buffer.append("a secret ");
        }
    }
    EXPECT_GE(watch.blocks(), 2U); // the last one, and those that it has grown out of
    EXPECT_EQ(watch.leaks(), 0U);
}

TEST(WipedBuffer, WipesItsRoomInside) {
    alignas(Buffer) unsigned char storage[sizeof(Buffer)] = {};
    const auto holds = [&storage](std::string_view secret) {
        return std::string_view(reinterpret_cast<const char*>(storage), sizeof storage).find(secret) !=
               std::string_view::npos;
    };
    auto* const buffer = new (storage) Buffer();
    buffer->append("secret");
    EXPECT_TRUE(holds("secret"));
    buffer->append(" that moves to the heap");
    EXPECT_FALSE(holds("secret"));
    buffer->~Buffer();
    auto* const cleared = new (storage) Buffer();
    cleared->append("secret");
    cleared->clear();
    EXPECT_FALSE(holds("secret"));
    cleared->append("secret");
    cleared->~Buffer();
    EXPECT_FALSE(holds("secret"));
}

} // namespace
