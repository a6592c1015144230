#include "tests/faults/posix/Guard.h"

#include "tests/heap/Heap.h"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

namespace {

std::size_t pageSize() {
    static const auto s_size = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    return s_size;
}

std::size_t upToPages(std::size_t size) {
    return (size + pageSize() - 1) / pageSize() * pageSize();
}

void* map(std::size_t size) {
    void* const pages = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return pages == MAP_FAILED ? nullptr : pages;
}

/// The blocks that end at a page, in a table of fixed size: they are few and live shortly.
struct GuardedBlock {
    void* block;
    void* pages;
    std::size_t mapped;
};
GuardedBlock g_blocks[8192];
/// No block stands at or behind this one.
GuardedBlock* g_pEnd = g_blocks;

/// Null when there is no room, in the table or at all.
void* takeGuarded(std::size_t size) {
    for (GuardedBlock& entry : g_blocks) {
        if (entry.block == nullptr) {
            const std::size_t room = upToPages(size);
            auto* const pages = static_cast<std::uint8_t*>(map(room + pageSize()));
            if (pages == nullptr || ::mprotect(pages + room, pageSize(), PROT_NONE) != 0) {
                return nullptr;
            }
            // A size is a multiple of its type's alignment, so what ends at a page begins where it may.
            entry = {pages + room - size, pages, room + pageSize()};
            g_pEnd = std::max(g_pEnd, &entry + 1);
            return entry.block;
        }
    }
    return nullptr;
}

bool giveGuarded(void* memory) {
    GuardedBlock* const found =
        std::find_if(g_blocks, g_pEnd, [memory](const GuardedBlock& entry) { return entry.block == memory; });
    if (found == g_pEnd) {
        return false;
    }
    ::munmap(found->pages, found->mapped);
    *found = {};
    while (g_pEnd != g_blocks && g_pEnd[-1].block == nullptr) {
        --g_pEnd;
    }
    return true;
}

} // namespace

namespace Faults::Guard {

namespace {

constexpr std::size_t kStackSize = std::size_t{1} << 20;
constexpr std::size_t kSignalStackSize = std::size_t{64} << 10;

const void* g_pWall = nullptr;
const std::function<void()>* g_pAction = nullptr;

void start() {
    (*g_pAction)();
}

void endProcess(int, siginfo_t* info, void*) {
    ::_exit(info->si_addr == g_pWall ? kAtTheWall : kElsewhere);
}

} // namespace

Blocks::Blocks() {
    TestHeap::setSource({&takeGuarded, &giveGuarded});
}

Blocks::~Blocks() {
    TestHeap::setSource({nullptr, &giveGuarded});
}

const void* boundaryBehind(const void* end) {
    return reinterpret_cast<const void*>(upToPages(reinterpret_cast<std::uintptr_t>(end)));
}

Fence::Fence(const void* boundary) : m_pPage(const_cast<void*>(boundary)) {
    if (::mprotect(m_pPage, pageSize(), PROT_NONE) != 0) {
        std::abort();
    }
}

Fence::~Fence() {
    ::mprotect(m_pPage, pageSize(), PROT_READ | PROT_WRITE);
}

void runOnOwnStack(const std::function<void()>& action, std::size_t shift) {
    static void* const s_stack = map(kStackSize);
    if (s_stack == nullptr) {
        std::abort();
    }
    ucontext_t back;
    ucontext_t context;
    ::getcontext(&context);
    context.uc_stack.ss_sp = s_stack;
    // Nothing stands in the highest page, so that there is one behind every variable.
    context.uc_stack.ss_size = kStackSize - pageSize() - shift;
    context.uc_link = &back;
    g_pAction = &action;
    ::makecontext(&context, &start, 0);
    ::swapcontext(&back, &context);
}

std::size_t shiftToBoundary(const void* end) {
    return (reinterpret_cast<std::uintptr_t>(end) % pageSize() + 15) / 16 * 16;
}

void write(void* begin, std::size_t count, const void* wall) {
    // The stack may be what has become inaccessible.
    static void* const s_signalStack = map(kSignalStackSize);
    stack_t stack = {};
    stack.ss_sp = s_signalStack;
    stack.ss_size = kSignalStackSize;
    ::sigaltstack(&stack, nullptr);
    struct sigaction action = {};
    struct sigaction before = {};
    action.sa_sigaction = &endProcess;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    ::sigaction(SIGSEGV, &action, &before);
    g_pWall = wall;
    for (std::size_t i = 0; i < count; ++i) {
        static_cast<volatile std::uint8_t*>(begin)[i] = 0x41;
    }
    ::sigaction(SIGSEGV, &before, nullptr);
}

} // namespace Faults::Guard
