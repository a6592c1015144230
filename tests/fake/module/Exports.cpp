#include "tests/fake/Control.h"
#include "tests/fake/module/Gate.h"

// The two functions that the library exports.

#if defined(_WIN32)
#define FAKE_EXPORT __declspec(dllexport)
#else
#define FAKE_EXPORT __attribute__((visibility("default")))
#endif

namespace Fake {
Control& control();
}

extern "C" {

#if !defined(_WIN32)
FAKE_EXPORT
#endif
CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
    return Fake::getFunctionList(list);
}

// Every copy of the library has a name of its own here, so that a program can link several.
FAKE_EXPORT Fake::Control* FAKE_CONTROL_NAME() {
    return &Fake::control();
}

} // extern "C"
