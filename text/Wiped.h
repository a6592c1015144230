#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

#include "text/SecureZero.h"

/// Memory that is overwritten over its whole capacity before it is given back, also when a container grows.
template <class T>
struct WipingAllocator {
    using value_type = T;

    WipingAllocator() noexcept = default;
    template <class Other>
    WipingAllocator(const WipingAllocator<Other>&) noexcept {} // NOLINT(google-explicit-constructor): rebinding

    [[nodiscard]] T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
    void deallocate(T* block, std::size_t count) noexcept {
        text::secureZero(static_cast<void*>(block), count * sizeof(T));
        std::allocator<T>().deallocate(block, count);
    }

    template <class Other>
    bool operator==(const WipingAllocator<Other>&) const noexcept {
        return true;
    }
};

using WipedBytes = std::vector<char, WipingAllocator<char>>;
[[nodiscard]] inline std::string_view charactersOf(const WipedBytes& bytes) noexcept {
    return {bytes.data(), bytes.size()};
}

using WipedText = std::vector<wchar_t, WipingAllocator<wchar_t>>;

/// Overwrites the stack below the caller's frame, where functions that have returned leave short texts and saved
/// registers.
void wipeUnusedStack() noexcept;
