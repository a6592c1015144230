#include "ry/rylog.h"

#if defined(__SANITIZE_ADDRESS__)
// The sanitizer searches for leaks by tracing its own process, which the system refuses to a privileged one.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
    return "detect_leaks=0";
}
#endif

int main() {
    rylogLog(L"MODULE", 1, L"a message");
}
