#pragma once

#include <cstddef>
#include <string_view>

// The operator new of the test programs that link it. By itself it is malloc's; the objects below make memory scarce,
// look at what is given back, or take blocks from elsewhere.

namespace TestHeap {

/// Blocks that were taken so far.
[[nodiscard]] std::size_t blocksTaken() noexcept;

/// While it lives, this thread gets no block of that many bytes or more.
class Scarcity {
public:
    explicit Scarcity(std::size_t refusedFrom) noexcept;
    Scarcity(const Scarcity&) = delete;
    Scarcity& operator=(const Scarcity&) = delete;
    ~Scarcity();
};

/// Looks at every block that is given back, to see whether a secret's bytes are still in it. One at a time.
class Watch {
public:
    /// Counts blocks that hold `secret`; the view must outlive the watch and not stand in a watched block itself.
    explicit Watch(std::string_view secret) noexcept;
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch();

    /// Blocks given back with the secret in them, and blocks given back at all.
    [[nodiscard]] std::size_t leaks() const noexcept;
    [[nodiscard]] std::size_t blocks() const noexcept;
};

/// Where blocks come from in place of malloc.
struct Source {
    void* (*take)(std::size_t size); ///< at least one byte; null: malloc again
    bool (*giveBack)(void* block);   ///< false: the block is malloc's
};
void setSource(const Source& source) noexcept;

} // namespace TestHeap
