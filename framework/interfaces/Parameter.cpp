#include "zel/Parameter.h"

namespace Zel {

Parameter::Parameter(ParameterEncoding encoding, const TString& id, ParameterType type, const TString& value)
    : m_tsId(id), m_tsValue(value), m_encoding(encoding), m_type(type) {}

Parameter::Parameter(const Parameter& other) = default;

Parameter& Parameter::operator=(const Parameter& other) = default;

Parameter::~Parameter() = default;

void* Parameter::deletingDestructor(unsigned int flags) {
    return runDestructor(this, flags);
}

void Parameter::setValue(const TString& value) {
    m_tsValue = value;
}

} // namespace Zel
