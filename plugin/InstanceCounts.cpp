#include "plugin/InstanceCounts.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <new>

#include "client/InstanceUse.h"
#include "platform/Mutex.h"

namespace {

// Both live until the process ends: executors may still be freed while it does.
std::atomic<platform::Mutex*> instanceMutex{nullptr};

std::map<Zel::TString, int>& instancesCount() {
    static auto* const counts = new std::map<Zel::TString, int>();
    return *counts;
}

} // namespace

bool createInstanceMutex(std::uint32_t& error) {
    auto mutex = std::make_unique<platform::Mutex>();
    if (!mutex->create(error)) {
        return false;
    }
    platform::Mutex* none = nullptr;
    if (instanceMutex.compare_exchange_strong(none, mutex.get())) {
        static_cast<void>(mutex.release());
    }
    return true;
}

int instances::add(const Zel::TString& libraryName) {
    const std::lock_guard lock(*instanceMutex.load());
    return ++instancesCount()[libraryName];
}

int instances::remove(const Zel::TString& libraryName) noexcept {
    const std::lock_guard lock(*instanceMutex.load());
    const auto count = instancesCount().find(libraryName);
    return count == instancesCount().end() ? 0 : count->second--;
}
