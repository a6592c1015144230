#pragma once

#include <stdexcept>

namespace host::x509 {

/// A signature that a token made and that its public key does not verify.
class SignatureError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace host::x509
