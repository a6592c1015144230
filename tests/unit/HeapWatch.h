#pragma once

#include <cstddef>
#include <string_view>

/// Looks at every block that this program gives back through operator delete, to see whether a secret's bytes are still
/// in it. One at a time.
class HeapWatch {
public:
    /// Counts blocks that hold `secret`; the view must outlive the watch and not stand in a watched block itself.
    explicit HeapWatch(std::string_view secret) noexcept;
    HeapWatch(const HeapWatch&) = delete;
    HeapWatch& operator=(const HeapWatch&) = delete;
    ~HeapWatch();

    /// Blocks given back with the secret in them, and blocks given back at all.
    [[nodiscard]] std::size_t leaks() const noexcept;
    [[nodiscard]] std::size_t blocks() const noexcept;
};
