#pragma once

#include <string_view>

#include "text/Wiped.h"

namespace host {

/// A secret that is kept between uses, as random bytes and their exclusive or with the secret, so that memory does not
/// contain it as it is. Who reads all of the process's memory can still combine the two.
class MaskedSecret {
public:
    explicit MaskedSecret(std::string_view secret);
    [[nodiscard]] WipedBytes value() const;

private:
    WipedBytes m_random;
    WipedBytes m_masked;
};

} // namespace host
