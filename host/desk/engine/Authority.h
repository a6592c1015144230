#pragma once

#include <functional>
#include <string>

#include "host/desk/plan/Plan.h"
#include "host/x509/Certificate.h"

namespace host::desk {

/// What a certificate has to be.
struct Wanted {
    x509::PublicKey key;
    std::string subject; ///< as nameText writes it
};

/// Called for each certificate that may exist and is of no use; without text when nobody received it.
using NoteLost = std::function<void(const std::string& pem, const std::string& reason)>;

/// Why a certificate is not the one that was asked for; empty when it is. `now` is UTC, as notBefore is.
[[nodiscard]] std::string faultOf(const x509::Certificate& certificate, const Wanted& wanted, const std::string& now);

/// Hands the request (PEM) to the authority's command and returns the certificate that it prints, checked: it belongs
/// to the key, is valid now and has the planned subject. CardFailure when no try gives one.
[[nodiscard]] x509::Certificate askAuthority(const PlannedCommand& command, const RowValues& row,
                                             const std::string& request, const Wanted& wanted, const NoteLost& lost);

} // namespace host::desk
