#include "tests/heap/Heap.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

thread_local std::size_t t_refusedFrom = 0;

std::atomic<std::size_t> g_taken{0};
std::atomic<bool> g_isWatching{false};
std::string_view g_secret;
std::atomic<std::size_t> g_leaks{0};
std::atomic<std::size_t> g_blocks{0};
TestHeap::Source g_source{};

/// The size of a block stands before it, in a place that keeps its alignment.
constexpr std::size_t kPrefix = __STDCPP_DEFAULT_NEW_ALIGNMENT__;

void* take(std::size_t size) noexcept {
    ++g_taken;
    if ((t_refusedFrom != 0 && size >= t_refusedFrom) || size > static_cast<std::size_t>(PTRDIFF_MAX) - kPrefix) {
        return nullptr;
    }
    if (g_source.take != nullptr) {
        return g_source.take(size == 0 ? 1 : size);
    }
    auto* const block = static_cast<char*>(std::malloc(size + kPrefix));
    if (block == nullptr) {
        return nullptr;
    }
    std::memcpy(block, &size, sizeof size);
    return block + kPrefix;
}

void* takeOrThrow(std::size_t size) {
    if (void* const memory = take(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void giveBack(void* memory) noexcept {
    if (memory == nullptr || (g_source.giveBack != nullptr && g_source.giveBack(memory))) {
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

} // namespace

// The compiler takes a pair for a mismatch where it sees only one of them.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

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

namespace TestHeap {

std::size_t blocksTaken() noexcept {
    return g_taken;
}

Scarcity::Scarcity(std::size_t refusedFrom) noexcept {
    t_refusedFrom = refusedFrom;
}

Scarcity::~Scarcity() {
    t_refusedFrom = 0;
}

Watch::Watch(std::string_view secret) noexcept {
    g_secret = secret;
    g_leaks = 0;
    g_blocks = 0;
    g_isWatching = true;
}

Watch::~Watch() {
    g_isWatching = false;
}

std::size_t Watch::leaks() const noexcept {
    return g_leaks;
}

std::size_t Watch::blocks() const noexcept {
    return g_blocks;
}

void setSource(const Source& source) noexcept {
    g_source = source;
}

} // namespace TestHeap
