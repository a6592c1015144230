#include "client/Failure.h"

#include "client/ResultCodes.h"
#include "zel/ClientOperationException.h"

void throwFailure(const Zel::TString& message) {
    Zel::ClientOperationException exception;
    exception.setMessage(message);
    exception.setErrorCode(hexNumberText(ClientCode::kBadParameter));
    throw exception;
}
