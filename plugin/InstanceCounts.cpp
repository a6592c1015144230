#include "plugin/InstanceCounts.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "client/InstanceUse.h"
#include "platform/Mutex.h"

namespace {

std::map<Zel::TString, int>& instancesCount() {
    static std::map<Zel::TString, int> counts;
    return counts;
}

/// The one lock; goes when the library is unloaded.
class InstanceMutex {
public:
    InstanceMutex() = default;
    InstanceMutex(const InstanceMutex&) = delete;
    InstanceMutex& operator=(const InstanceMutex&) = delete;
    ~InstanceMutex() { delete m_pMutex.load(); }

    void keepFirst(std::unique_ptr<platform::Mutex> mutex) {
        platform::Mutex* none = nullptr;
        if (m_pMutex.compare_exchange_strong(none, mutex.get())) {
            static_cast<void>(mutex.release());
        }
    }
    [[nodiscard]] platform::Mutex& get() const { return *m_pMutex.load(); }

private:
    std::atomic<platform::Mutex*> m_pMutex{nullptr};
};

InstanceMutex instanceMutex;

} // namespace

bool createInstanceMutex(std::uint32_t& error) {
    auto mutex = std::make_unique<platform::Mutex>();
    if (!mutex->create(error)) {
        return false;
    }
    instanceMutex.keepFirst(std::move(mutex));
    return true;
}

int instances::add(const Zel::TString& libraryName) {
    const std::lock_guard lock(instanceMutex.get());
    return ++instancesCount()[libraryName];
}

int instances::remove(const Zel::TString& libraryName) noexcept {
    const std::lock_guard lock(instanceMutex.get());
    const auto count = instancesCount().find(libraryName);
    return count == instancesCount().end() ? 0 : count->second--;
}
