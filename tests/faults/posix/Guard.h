#pragma once

#include <cstddef>
#include <functional>

// Memory that ends directly at an inaccessible page, so that the first byte behind it that somebody touches is known.

namespace Faults::Guard {

/// While such an object lives, every block of operator new of this program and its libraries ends at an inaccessible
/// page. One at a time, on one thread.
class Blocks {
public:
    Blocks();
    Blocks(const Blocks&) = delete;
    Blocks& operator=(const Blocks&) = delete;
    ~Blocks();
};

/// The first page boundary at or behind an address.
[[nodiscard]] const void* boundaryBehind(const void* end);

/// While such an object lives, the page that begins at `boundary` is inaccessible. It must be one that belongs to us.
class Fence {
public:
    explicit Fence(const void* boundary);
    Fence(const Fence&) = delete;
    Fence& operator=(const Fence&) = delete;
    ~Fence();

private:
    void* m_pPage;
};

/// Runs `action` on a stack of its own, which begins `shift` bytes lower than with 0, and all its variables with it.
/// Nothing may leave it but its return.
void runOnOwnStack(const std::function<void()>& action, std::size_t shift);
/// How much lower a variable has to stand that ends at `end`, to end at a page boundary or eight bytes before it: a
/// stack moves in steps of sixteen bytes.
[[nodiscard]] std::size_t shiftToBoundary(const void* end);

/// How a process ends in whose `write` a byte could not be written.
inline constexpr int kAtTheWall = 42; ///< the one at `wall`
inline constexpr int kElsewhere = 43;

/// Writes `count` bytes from `begin` on, one after another, and ends the process at the first that cannot be written.
void write(void* begin, std::size_t count, const void* wall);

} // namespace Faults::Guard
