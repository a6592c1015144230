// Makes the scripted module search the memory of the process when it is unloaded: p11host's card command is over then.
// The user PIN is the secret "pin", where there is one.
#include <cstdlib>
#include <fstream>
#include <string>

#include "tests/fake/Fake.h"
#include "tests/host/memory/Search.h"
#include "tests/host/memory/Seeker.h"
#include "text/SecureZero.h"

namespace {

__attribute__((constructor)) void setPin() {
    const char* const file = std::getenv("P11SEEK_SECRETS");
    std::ifstream stream(file == nullptr ? "" : file, std::ios::binary);
    for (std::string line; std::getline(stream, line);) {
        if (line.rfind("pin ", 0) == 0) {
            std::string pin = tests::unmasked(line.substr(4));
            Fake::module().setUserPin(pin);
            text::secureZero(pin.data(), pin.size());
        }
    }
    Fake::module().setRecording(false);
}

__attribute__((destructor)) void search() {
    tests::searchOwnMemory();
}

} // namespace
