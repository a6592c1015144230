// Leaks of the module under test, not ours: SoftHSM2 and the libraries below it keep what they set up once. A leak that
// any other library made is reported. The sanitizer's library has to see this, and asks for it by its name.
extern "C" [[gnu::visibility("default")]] const char* __lsan_default_suppressions();

extern "C" const char* __lsan_default_suppressions() {
    return "leak:libsofthsm2\nleak:libbotan\nleak:libcrypto\n";
}
