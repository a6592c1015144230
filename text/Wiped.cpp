#include "text/Wiped.h"

[[gnu::noinline]] void wipeUnusedStack() noexcept {
    char room[std::size_t{256} << 10];
    text::secureZero(room, sizeof room);
}
