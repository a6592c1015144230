#include "host/x509/RandomDigits.h"

#include <cstdint>

#include <botan/system_rng.h>

namespace host::x509 {

WipedBytes randomDigits(std::size_t count) {
    constexpr std::uint8_t kFair = 250; // the largest multiple of 10 that a byte holds: what lies above is thrown away
    WipedBytes digits;
    digits.reserve(count);
    while (digits.size() < count) {
        const std::uint8_t byte = Botan::system_rng().next_byte();
        if (byte < kFair) {
            digits.push_back(static_cast<char>('0' + byte % 10));
        }
    }
    return digits;
}

} // namespace host::x509
