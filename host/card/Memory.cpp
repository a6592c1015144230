#include "host/card/Memory.h"

namespace host {

namespace {

/// Some modules answer 0 where the standard has a value for "unknown"; no token has no memory at all.
bool isTooSmall(const MemoryView& memory, std::uint64_t bytes) {
    return memory.free && memory.total.value_or(1) != 0 && *memory.free < bytes;
}

void require(const Token& token, const MemoryView& memory, std::uint64_t bytes, const std::string& what,
             const char* objects) {
    if (!isTooSmall(memory, bytes)) {
        return;
    }
    throw CardFailure(ExitStatus::Failed, "asking what " + token.name() + " can hold",
                      "it has " + std::to_string(*memory.free) + " bytes left for " + objects + " objects, and " +
                          what + " takes at least " + std::to_string(bytes),
                      "Free space on the token with \"p11host remove\".");
}

} // namespace

void requireMemory(const Token& token, const MemoryNeed& need) {
    require(token, token.info().publicMemory, need.publicBytes, need.what, "public");
    require(token, token.info().privateMemory, need.privateBytes, need.what, "private");
}

MemoryNeed keyPairNeed(const std::string& what, std::uint64_t bits) {
    const std::uint64_t modulus = bits / 8;
    // Modulus, private exponent, two primes, two exponents and the coefficient; the public exponent is small.
    return {what, modulus, 2 * modulus + 5 * (modulus / 2)};
}

} // namespace host
