#include "zel/ClientOperationException.h"

namespace Zel {

ClientOperationException::ClientOperationException() noexcept = default;

ClientOperationException::ClientOperationException(const ClientOperationException& other) = default;

ClientOperationException& ClientOperationException::operator=(const ClientOperationException& other) = default;

ClientOperationException::~ClientOperationException() = default;

const char* ClientOperationException::what() const noexcept {
    return "ClientOperationException";
}

} // namespace Zel
