#include "tests/fake/Function.h"

namespace Fake {

const char* functionName(Function function) {
    static constexpr const char* kNames[] = {
#define X(name) #name,
        FAKE_FUNCTIONS(X)
#undef X
    };
    return kNames[static_cast<unsigned>(function)];
}

} // namespace Fake
