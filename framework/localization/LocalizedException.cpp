#include "zel/LocalizedException.h"

namespace Zel {

LocalizedException::LocalizedException() noexcept = default;

LocalizedException::LocalizedException(const LocalizedException& other) = default;

LocalizedException& LocalizedException::operator=(const LocalizedException& other) = default;

LocalizedException::~LocalizedException() = default;

void LocalizedException::setMessage(const TString& message) {
    m_tsMessage = message;
}

void LocalizedException::setErrorCode(const TString& code) {
    m_tsErrorCode = code;
}

const char* LocalizedException::what() const noexcept {
    return "LocalizedException";
}

} // namespace Zel
