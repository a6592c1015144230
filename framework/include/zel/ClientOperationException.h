#pragma once

#include "zel/LocalizedException.h"

namespace Zel {

/// An executor's own failure: a precondition that does not hold, a malformed access parameter. Failures of the token
/// never throw; they travel in the output parameter "ERROR".
class ZEL_VEX_API ClientOperationException : public LocalizedException {
public:
    ClientOperationException() noexcept;
    ClientOperationException(const ClientOperationException& other);
    ClientOperationException& operator=(const ClientOperationException& other);
    ~ClientOperationException() override;

    [[nodiscard]] const char* what() const noexcept override;
};

} // namespace Zel
