#include "client/InstanceCounts.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <mutex>

#include "platform/Mutex.h"

namespace plugin {

namespace {

/// The counts and the one lock that guards them.
struct InstanceTable {
    platform::Mutex mutex;
    std::map<Zel::TString, int> counts;

    [[nodiscard]] bool isUnused() const {
        return std::all_of(counts.begin(), counts.end(), [](const auto& count) { return count.second <= 0; });
    }
};

// A bare pointer: hosts may free executors while the process ends, after the destructors of this library's static
// objects.
std::atomic<InstanceTable*> instanceTable{nullptr};

/// Frees the table when the library is unloaded, unless executors are still counted.
struct AtTheEnd {
    AtTheEnd() = default;
    AtTheEnd(const AtTheEnd&) = delete;
    AtTheEnd& operator=(const AtTheEnd&) = delete;
    ~AtTheEnd() {
        const InstanceTable* const table = instanceTable.load();
        if (table != nullptr && table->isUnused()) {
            instanceTable = nullptr;
            delete table;
        }
    }
};
const AtTheEnd atTheEnd;

} // namespace

bool instances::createMutex(std::uint32_t& error) {
    auto table = std::make_unique<InstanceTable>();
    if (!table->mutex.create(error)) {
        return false;
    }
    InstanceTable* none = nullptr;
    if (instanceTable.compare_exchange_strong(none, table.get())) {
        static_cast<void>(table.release());
    }
    return true;
}

int instances::add(const Zel::TString& libraryName) {
    InstanceTable& table = *instanceTable.load();
    const std::lock_guard lock(table.mutex);
    return ++table.counts[libraryName];
}

int instances::remove(const Zel::TString& libraryName) noexcept {
    InstanceTable& table = *instanceTable.load();
    const std::lock_guard lock(table.mutex);
    const auto count = table.counts.find(libraryName);
    return count == table.counts.end() ? 0 : count->second--;
}

} // namespace plugin
