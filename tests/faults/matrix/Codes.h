#pragma once

#include "cryptoki/cryptoki.h"

#include <string>
#include <vector>

namespace Faults {

/// Every result code that the header knows, and values that nobody knows.
[[nodiscard]] const std::vector<CK_RV>& allCodes();

/// The client error code that hosts see for a result, as text: a table of its own, so that the product's is checked
/// against it.
[[nodiscard]] std::string clientCodeOf(CK_RV rv);

/// "CKR_PIN_LOCKED (0xa4)", or the number alone.
[[nodiscard]] std::string codeText(CK_RV rv);

} // namespace Faults
