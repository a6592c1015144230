#include "host/scripts/MaskedSecret.h"

#include <random>

namespace host {

MaskedSecret::MaskedSecret(std::string_view secret) : m_random(secret.size()), m_masked(secret.size()) {
    std::random_device source;
    for (std::size_t i = 0; i < secret.size(); ++i) {
        m_random[i] = static_cast<char>(source());
        m_masked[i] = static_cast<char>(secret[i] ^ m_random[i]);
    }
}

WipedBytes MaskedSecret::value() const {
    WipedBytes secret(m_masked);
    for (std::size_t i = 0; i < secret.size(); ++i) {
        secret[i] = static_cast<char>(secret[i] ^ m_random[i]);
    }
    return secret;
}

} // namespace host
