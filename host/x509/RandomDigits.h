#pragma once

#include <cstddef>

#include "text/Wiped.h"

namespace host::x509 {

/// That many decimal digits, each equally likely, from the system's random numbers. For PINs.
[[nodiscard]] WipedBytes randomDigits(std::size_t count);

} // namespace host::x509
