#include "host/x509/Algorithms.h"

#include <botan/oids.h>

namespace host::x509 {

namespace {

constexpr const char* kRsaEncryption = "1.2.840.113549.1.1.1";

} // namespace

Botan::AlgorithmIdentifier rsaEncryption() {
    return {Botan::OID(kRsaEncryption), Botan::AlgorithmIdentifier::USE_NULL_PARAM};
}

void requireRsa(const Botan::AlgorithmIdentifier& algorithm, const std::string& name) {
    const Botan::OID& oid = algorithm.get_oid();
    if (oid == Botan::OID(kRsaEncryption)) {
        return;
    }
    const std::string known = Botan::OIDS::oid2str_or_empty(oid);
    throw UsageError(name + ": the key is not an RSA key, but of the algorithm " +
                     (known.empty() ? oid.to_string() : known));
}

} // namespace host::x509
