#pragma once

#include <string_view>

#include "text/Wiped.h"

namespace host {

/// A secret that has to be kept from one use to the next: random bytes, and its own combined with them, so that no
/// piece of it stands in memory as it is. Who reads all of the process's memory can still put the two together.
class MaskedSecret {
public:
    explicit MaskedSecret(std::string_view secret);
    [[nodiscard]] WipedBytes value() const;

private:
    WipedBytes m_random;
    WipedBytes m_masked;
};

} // namespace host
