#include "framework/crypto-parser/RsaPrivateKey.h"

#include <algorithm>

#include "text/SecureZero.h"

namespace Ry {

RsaPrivateKey::RsaPrivateKey(const RsaComponents& components) noexcept {
    for (std::size_t i = 0; i < kComponentCount; ++i) {
        m_numbers[i].length = components[i].size();
        std::ranges::reverse_copy(components[i], m_numbers[i].bytes.begin());
    }
}

RsaPrivateKey::~RsaPrivateKey() {
    text::secureZero(m_numbers.data(), sizeof m_numbers);
}

void* RsaPrivateKey::deletingDestructor(unsigned int flags) {
    return runDestructor(this, flags);
}

std::size_t RsaPrivateKey::componentLength(RsaComponent component) const noexcept {
    return placeOf(component) < kComponentCount ? m_numbers[placeOf(component)].length : 0;
}

bool RsaPrivateKey::copyComponent(RsaComponent component, std::uint8_t* bytes, std::size_t room) const noexcept {
    const std::size_t length = componentLength(component);
    if (length == 0 || bytes == nullptr || room < length) {
        return false;
    }
    std::copy_n(m_numbers[placeOf(component)].bytes.begin(), length, bytes);
    return true;
}

} // namespace Ry
