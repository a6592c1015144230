#include "tests/secrets/Heap.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>

// The C library's own functions under the names that stay when a program replaces malloc.
extern "C" {
void* __libc_malloc(std::size_t size);
void __libc_free(void* memory);
}

namespace {

constexpr std::uint64_t kMark = 0x5EC2E7B10C4B10C5;

/// Stands before every block; watched ones make a ring.
struct alignas(std::max_align_t) Block {
    Block* next;
    Block* previous;
    void* raw; ///< what the C library gave
    std::size_t size;
    std::uint64_t mark;
    bool isWatched;

    void* bytes() { return this + 1; }
};

Block g_ring = {&g_ring, &g_ring, nullptr, 0, 0, false};
std::atomic_flag g_isLocked;
std::atomic<Secrets::Heap::Look> g_lookAtFreed = nullptr;
std::atomic<unsigned long> g_freedBlocks = 0;
std::atomic<unsigned long> g_liveBlocks = 0;
std::atomic<unsigned long> g_failAt = 0;
std::atomic<bool> g_isLasting = false;
std::atomic<bool> g_hasFailed = false;
std::atomic<int> g_unwatched = 0;
std::atomic<int> g_plenty = 0;

class Lock {
public:
    Lock() {
        while (g_isLocked.test_and_set(std::memory_order_acquire)) {
        }
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    ~Lock() { g_isLocked.clear(std::memory_order_release); }
};

bool isToFail() {
    const unsigned long left = g_failAt.load(std::memory_order_relaxed);
    if (left == 0 || g_unwatched.load(std::memory_order_relaxed) != 0 ||
        g_plenty.load(std::memory_order_relaxed) != 0) {
        return false;
    }
    if (left > 1 || !g_isLasting.load(std::memory_order_relaxed)) {
        g_failAt.store(left - 1, std::memory_order_relaxed);
    }
    if (left == 1) {
        g_hasFailed = true;
    }
    return left == 1;
}

void* take(std::size_t size, std::size_t alignment) {
    const std::size_t extra = sizeof(Block) + alignment;
    void* const raw = isToFail() || size > PTRDIFF_MAX - extra ? nullptr : __libc_malloc(size + extra);
    if (raw == nullptr) {
        errno = ENOMEM;
        return nullptr;
    }
    const std::uintptr_t first = reinterpret_cast<std::uintptr_t>(raw) + sizeof(Block);
    auto* const block = reinterpret_cast<Block*>((first + alignment - 1) / alignment * alignment) - 1;
    const bool isWatched = g_unwatched.load(std::memory_order_relaxed) == 0;
    *block = {nullptr, nullptr, raw, size, kMark, isWatched};
    if (isWatched) {
        const Lock lock;
        block->next = g_ring.next;
        block->previous = &g_ring;
        g_ring.next->previous = block;
        g_ring.next = block;
        ++g_liveBlocks;
    }
    return block->bytes();
}

void give(void* memory) {
    Block* const block = memory == nullptr ? nullptr : static_cast<Block*>(memory) - 1;
    // The loader's first blocks, from before this malloc was in place, are left where they are.
    if (block == nullptr || block->mark != kMark) {
        return;
    }
    if (block->isWatched) {
        if (const auto look = g_lookAtFreed.load(std::memory_order_relaxed); look != nullptr) {
            ++g_freedBlocks;
            look(memory, block->size);
        }
        const Lock lock;
        block->next->previous = block->previous;
        block->previous->next = block->next;
        --g_liveBlocks;
    } else {
        // What the test leaves behind must not turn up in somebody else's fresh block.
        std::memset(memory, 0, block->size);
    }
    block->mark = 0;
    __libc_free(block->raw);
}

} // namespace

// The libraries must find these, whatever the program hides otherwise.
#pragma GCC visibility push(default)
extern "C" {

void* malloc(std::size_t size) {
    return take(size, alignof(std::max_align_t));
}

void free(void* memory) {
    give(memory);
}

void* calloc(std::size_t count, std::size_t size) {
    std::size_t total = 0;
    void* const memory = __builtin_mul_overflow(count, size, &total) ? nullptr : malloc(total);
    return memory == nullptr ? nullptr : std::memset(memory, 0, total);
}

void* realloc(void* memory, std::size_t size) {
    void* const fresh = malloc(size);
    if (memory != nullptr && fresh != nullptr) {
        const std::size_t before = (static_cast<Block*>(memory) - 1)->size;
        std::memcpy(fresh, memory, before < size ? before : size);
        give(memory);
    }
    return fresh;
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return take(size, alignment < alignof(std::max_align_t) ? alignof(std::max_align_t) : alignment);
}

void* memalign(std::size_t alignment, std::size_t size) {
    return aligned_alloc(alignment, size);
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    *memory = aligned_alloc(alignment, size);
    return *memory == nullptr ? ENOMEM : 0;
}

std::size_t malloc_usable_size(void* memory) {
    return memory == nullptr ? 0 : (static_cast<Block*>(memory) - 1)->size;
}

} // extern "C"
#pragma GCC visibility pop

namespace Secrets::Heap {

void lookAtFreed(Look look) {
    g_lookAtFreed = look;
}

void lookAtLive(Look look) {
    const Lock lock;
    for (Block* block = g_ring.next; block != &g_ring; block = block->next) {
        look(block->bytes(), block->size);
    }
}

unsigned long freedBlocks() {
    return g_freedBlocks;
}

unsigned long liveBlocks() {
    return g_liveBlocks;
}

bool failAllocation(unsigned long n, Shortage shortage) {
    g_failAt = n;
    g_isLasting = shortage == Shortage::Lasting;
    return g_hasFailed.exchange(false);
}

Plenty::Plenty() {
    ++g_plenty;
}

Plenty::~Plenty() {
    --g_plenty;
}

Unwatched::Unwatched() {
    ++g_unwatched;
}

Unwatched::~Unwatched() {
    --g_unwatched;
}

} // namespace Secrets::Heap
