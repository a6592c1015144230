#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/desk/journal/Database.h"

// What the journal's sources share. Everything here runs inside a transaction.

namespace host::desk {

/// As SOCI binds it on both systems.
using Number = long long;

/// Runs a statement with these values and returns the number of rows that it changed.
template <class... Values>
Number change(soci::session& sql, const std::string& statement, const Values&... values) {
    soci::statement prepared(sql);
    (prepared.exchange(soci::use(values)), ...);
    prepared.alloc();
    prepared.prepare(statement);
    prepared.define_and_bind();
    prepared.execute(true);
    return prepared.get_affected_rows();
}

/// The names of the plan's steps as the desk keeps them. JournalError when the text is no list of names.
[[nodiscard]] std::vector<std::string> stepNamesOf(const std::string& json);

/// Renews the lease. ClaimLost when the row is another station's.
void requireClaim(soci::session& sql, const Database& database, const Claim& claim);

/// The certificates (PEM) of an attempt, in the order in which they came: a plan may have several.
[[nodiscard]] std::vector<std::string> certificatesIn(const std::string& text);
/// Notes the certificates of an attempt for revocation, each once.
void revokeCertificateOf(soci::session& sql, const Database& database, std::int64_t attempt, const std::string& reason);
/// Notes a certificate of an attempt for revocation.
void noteRevocation(soci::session& sql, const Database& database, const Claim& claim, const std::string& pem,
                    const std::string& reason);

[[nodiscard]] RowState rowStateOf(std::string_view word);
[[nodiscard]] AttemptState attemptStateOf(std::string_view word);

} // namespace host::desk
