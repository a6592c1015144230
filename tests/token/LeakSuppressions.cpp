// Leaks of the modules under these tests, not ours: SoftHSM2 and the libraries below it keep what they set up once, and
// p11-kit keeps what an executor's function list stands on. A leak that any other library made is reported.
extern "C" const char* __lsan_default_suppressions();

extern "C" const char* __lsan_default_suppressions() {
    return "leak:libsofthsm2\nleak:libbotan\nleak:libcrypto\n";
}
