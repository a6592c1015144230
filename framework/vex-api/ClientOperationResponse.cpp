#include "zel/ClientOperationResponse.h"

namespace Zel {

ClientOperationResponse::ClientOperationResponse() = default;

ClientOperationResponse::~ClientOperationResponse() = default;

void* ClientOperationResponse::deletingDestructor(unsigned int flags) {
    return runDestructor(this, flags);
}

void ClientOperationResponse::setId(const TString& id) {
    m_tsId = id;
}

void ClientOperationResponse::setResponseParameters(const Vector<Parameter>& parameters) {
    m_parameters = parameters;
}

} // namespace Zel
