#include "tests/unit/HeapWatch.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

std::atomic<bool> g_isWatching{false};
std::string_view g_secret;
std::atomic<std::size_t> g_leaks{0};
std::atomic<std::size_t> g_blocks{0};

/// The size of a block stands before it, in a place that keeps its alignment.
constexpr std::size_t kPrefix = alignof(std::max_align_t);

void* take(std::size_t size) noexcept {
    if (size > static_cast<std::size_t>(PTRDIFF_MAX) - kPrefix) {
        return nullptr;
    }
    auto* const block = static_cast<char*>(std::malloc(size + kPrefix));
    if (block == nullptr) {
        return nullptr;
    }
    std::memcpy(block, &size, sizeof size);
    return block + kPrefix;
}

void giveBack(void* memory) noexcept {
    if (memory == nullptr) {
        return;
    }
    char* const block = static_cast<char*>(memory) - kPrefix;
    if (g_isWatching) {
        std::size_t size = 0;
        std::memcpy(&size, block, sizeof size);
        ++g_blocks;
        if (std::string_view(block + kPrefix, size).find(g_secret) != std::string_view::npos) {
            ++g_leaks;
        }
    }
    std::free(block);
}

void* takeOrThrow(std::size_t size) {
    void* const memory = take(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

void* operator new(std::size_t size) {
    return takeOrThrow(size);
}
void* operator new[](std::size_t size) {
    return takeOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return take(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return take(size);
}
void operator delete(void* memory) noexcept {
    giveBack(memory);
}
void operator delete[](void* memory) noexcept {
    giveBack(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    giveBack(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    giveBack(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    giveBack(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    giveBack(memory);
}

HeapWatch::HeapWatch(std::string_view secret) noexcept {
    g_secret = secret;
    g_leaks = 0;
    g_blocks = 0;
    g_isWatching = true;
}

HeapWatch::~HeapWatch() {
    g_isWatching = false;
}

std::size_t HeapWatch::leaks() const noexcept {
    return g_leaks;
}

std::size_t HeapWatch::blocks() const noexcept {
    return g_blocks;
}

// A watch that saw nothing would pass every other test.
TEST(HeapWatch, SeesASecretThatWasNotWiped) {
    constexpr std::string_view secret = "a secret of some length";
    const HeapWatch watch(secret);
    char* volatile block = new char[100]();
    std::memcpy(block + 10, secret.data(), secret.size());
    delete[] block;
    EXPECT_EQ(watch.leaks(), 1U);
}
