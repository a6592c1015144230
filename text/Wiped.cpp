#include "text/Wiped.h"

[[gnu::noinline]] void wipeUnusedStack() noexcept {
    char room[std::size_t{256} << 10];
    platform::secureZero(room, sizeof room);
}
