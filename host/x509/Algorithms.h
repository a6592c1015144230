#pragma once

#include <stdexcept>
#include <string>

#include <botan/asn1_obj.h>
#include <botan/ber_dec.h>
#include <botan/exceptn.h>

#include "host/plugin/Errors.h"
#include "host/x509/Bytes.h"
#include "host/x509/Hash.h"

// What the sources of this room share and no other room sees.

namespace host::x509 {

/// As the library names it.
[[nodiscard]] const char* libraryName(Hash hash) noexcept;

/// rsaEncryption, with the NULL that belongs to it.
[[nodiscard]] Botan::AlgorithmIdentifier rsaEncryption();

/// Throws UsageError unless `algorithm` is rsaEncryption; says which one it is where that has a name.
void requireRsa(const Botan::AlgorithmIdentifier& algorithm, const std::string& name);

/// What `read` gives; what the library throws becomes UsageError "NAME: KIND: reason".
template <class Read>
auto readOrExplain(const std::string& name, const std::string& kind, Read read) {
    try {
        return read();
    } catch (const Botan::Exception& error) {
        throw UsageError(name + ": " + kind + " (" + error.what() + ")");
    } catch (const std::logic_error&) { // from the standard library's conversions below, for a number too large
        throw UsageError(name + ": " + kind);
    }
}

} // namespace host::x509
