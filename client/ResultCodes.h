#pragma once

#include <cstdint>

#include "cryptoki/cryptoki.h"
#include "token/Result.h"
#include "zel/TString.h"

/// A number as lower-case hexadecimal text without prefix ("80ec").
[[nodiscard]] Zel::TString hexNumberText(std::uint32_t number);
/// The client error code of a Cryptoki result, as text. A result that has no code of its own gives 33013.
[[nodiscard]] Zel::TString clientErrorCode(CK_RV rv);

namespace plugin {

/// The value of the output parameter "ERROR".
[[nodiscard]] Zel::TString errorText(const Result& result);

} // namespace plugin
