#pragma once

#include "zel/LocalizedException.h"

namespace Zel {

/// A failure of the executor itself: a failed precondition or a malformed access parameter. Failures of the token never
/// throw; the output parameter "ERROR" reports them.
class ZEL_VEX_API ClientOperationException : public LocalizedException {
public:
    ClientOperationException() noexcept;
    ClientOperationException(const ClientOperationException& other);
    ClientOperationException& operator=(const ClientOperationException& other);
    ~ClientOperationException() override;

    [[nodiscard]] const char* what() const noexcept override;
};

} // namespace Zel
