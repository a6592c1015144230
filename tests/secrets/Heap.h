#pragma once

#include <cstddef>

// The heap of this program, its libraries' included, under the test's control: malloc and its family are the program's
// own, so that every block can be looked at while it lives and when it is given back.

namespace Secrets::Heap {

/// Looks at the bytes of one block. Must not allocate.
using Look = void (*)(const void* bytes, std::size_t size);

/// Looks at every watched block just before it goes; null: no more.
void lookAtFreed(Look look);
/// Looks at every watched block that lives now.
void lookAtLive(Look look);

/// Watched blocks that were given back since the program began.
[[nodiscard]] unsigned long freedBlocks();
/// Watched blocks that live now.
[[nodiscard]] unsigned long liveBlocks();

/// How long memory stays short.
enum class Shortage {
    Once,   ///< one allocation fails
    Lasting ///< that one and all later ones
};

/// The n-th allocation from now on (1: the next one) fails, of whatever library; 0: none. Tells whether one failed
/// since the last time.
bool failAllocation(unsigned long n, Shortage shortage = Shortage::Once);

/// While such an object lives, allocations neither fail nor count.
class Plenty {
public:
    Plenty();
    Plenty(const Plenty&) = delete;
    Plenty& operator=(const Plenty&) = delete;
    ~Plenty();
};

/// Blocks that are allocated while such an object lives are the test's own: never looked at, and none fails.
class Unwatched {
public:
    Unwatched();
    Unwatched(const Unwatched&) = delete;
    Unwatched& operator=(const Unwatched&) = delete;
    ~Unwatched();
};

} // namespace Secrets::Heap
