#include "tests/secrets/OwnStack.h"

#include "tests/secrets/Registers.h"

#include <sys/mman.h>
#include <ucontext.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace Secrets {

namespace {

constexpr int kFill = 0xE7;

const std::function<void()>* g_pAction = nullptr;

void start() {
    clearRegisters();
    (*g_pAction)();
}

} // namespace

OwnStack::OwnStack()
    : m_pBytes(static_cast<std::byte*>(
          ::mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0))) {
    if (m_pBytes == MAP_FAILED) {
        std::abort();
    }
    std::memset(m_pBytes, kFill, kSize);
}

OwnStack::~OwnStack() {
    ::munmap(m_pBytes, kSize);
}

void OwnStack::run(const std::function<void()>& action) {
    const std::span<const std::byte> before = touched();
    std::memset(m_pBytes + (kSize - before.size()), kFill, before.size());
    ucontext_t back;
    ucontext_t context;
    ::getcontext(&context);
    context.uc_stack.ss_sp = m_pBytes;
    context.uc_stack.ss_size = kSize;
    context.uc_link = &back;
    g_pAction = &action;
    ::makecontext(&context, &start, 0);
    ::swapcontext(&back, &context);
}

std::span<const std::byte> OwnStack::touched() const {
    std::uint64_t fill = 0;
    std::memset(&fill, kFill, sizeof fill);
    std::size_t at = 0;
    while (at < kSize && std::memcmp(m_pBytes + at, &fill, sizeof fill) == 0) {
        at += sizeof fill;
    }
    return {m_pBytes + at, kSize - at};
}

} // namespace Secrets
