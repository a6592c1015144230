#include "platform/MutexFault.h"

#include <atomic>

namespace platform::testing {

namespace {

std::atomic<std::uint32_t> g_fault{0};

} // namespace

void failNextMutexCreate(std::uint32_t error) noexcept {
    g_fault = error;
}

std::uint32_t takeMutexFault() noexcept {
    return g_fault.exchange(0);
}

} // namespace platform::testing
