#include "tests/fuzz/Targets.h"

// One fuzzer; the build says of which target.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Fuzz::FUZZ_TARGET(data, size);
    return 0;
}
