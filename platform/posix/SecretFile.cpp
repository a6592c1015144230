#include "platform/SecretFile.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

SecretFile::SecretFile(std::string_view bytes) : m_size(bytes.size()) {
    const int descriptor = ::memfd_create("secret", MFD_CLOEXEC);
    if (descriptor < 0) {
        return;
    }
    if (::fchmod(descriptor, S_IRUSR | S_IWUSR) == 0 &&
        ::pwrite(descriptor, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size())) {
        m_descriptor = descriptor;
        return;
    }
    ::close(descriptor);
}

SecretFile::~SecretFile() {
    if (!isMade()) {
        return;
    }
    const std::string zeros(m_size, '\0');
    [[maybe_unused]] const ssize_t written = ::pwrite(m_descriptor, zeros.data(), zeros.size(), 0);
    ::close(m_descriptor);
}

std::string SecretFile::path() const {
    return "/proc/self/fd/" + std::to_string(m_descriptor);
}

} // namespace platform
