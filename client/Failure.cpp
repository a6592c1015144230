#include "client/Failure.h"

#include "client/ResultCodes.h"
#include "zel/ClientOperationException.h"

namespace plugin {

namespace {

[[noreturn]] void throwWith(const Zel::TString& message, const Zel::TString& code) {
    Zel::ClientOperationException exception;
    exception.setMessage(message);
    exception.setErrorCode(code);
    throw exception;
}

} // namespace

void throwFailure(const Zel::TString& message) {
    throwWith(message, hexNumberText(ClientCode::kBadParameter));
}

void throwOutOfMemory() {
    throwWith(L"Out of memory", clientErrorCode(CKR_HOST_MEMORY));
}

} // namespace plugin
