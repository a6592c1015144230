#include "host/desk/engine/Look.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <optional>
#include <thread>

namespace host::desk {

namespace {

constexpr std::size_t kMostThreads = 16;

} // namespace

Look lookAtSlots(const ModuleView& view, const std::vector<std::uint64_t>& numbers) {
    std::vector<std::optional<SlotView>> seen(numbers.size());
    std::atomic<std::size_t> next = 0;
    std::mutex mutex;
    Look look;
    const auto lookAtSome = [&] {
        for (std::size_t i = next++; i < numbers.size(); i = next++) {
            try {
                seen[i] = view.slot(numbers[i]);
            } catch (const ModuleError& error) {
                const std::lock_guard<std::mutex> lock(mutex);
                look.fault = error.what();
            }
        }
    };
    std::vector<std::jthread> threads;
    for (std::size_t i = 1; i < std::min(numbers.size(), kMostThreads); ++i) {
        threads.emplace_back(lookAtSome);
    }
    lookAtSome();
    threads.clear();
    for (std::optional<SlotView>& slot : seen) {
        if (slot) {
            look.slots.push_back(std::move(*slot));
        }
    }
    return look;
}

} // namespace host::desk
