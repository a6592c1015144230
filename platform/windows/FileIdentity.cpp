#include "platform/FileIdentity.h"

namespace platform {

FileIdentity::FileIdentity(std::ptrdiff_t) noexcept : m_known(true) {}

bool FileIdentity::isStill(std::ptrdiff_t) const noexcept {
    return m_known;
}

} // namespace platform
