#include "platform/SecretFile.h"

namespace platform {

// Nothing on Windows reads a secret from a file by its name.

SecretFile::SecretFile(std::string_view /*bytes*/) {}

SecretFile::~SecretFile() = default;

std::string SecretFile::path() const {
    return "";
}

} // namespace platform
