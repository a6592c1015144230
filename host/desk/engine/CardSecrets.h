#pragma once

#include <map>
#include <string>

#include "host/desk/plan/Plan.h"
#include "text/Wiped.h"

namespace host::desk {

/// The secrets of a plan. What comes from the environment and from files is read once, before the first card; programs
/// are asked for each card. May be used from several threads.
class CardSecrets {
public:
    /// UsageError when a variable is not set, or a file cannot be read or is open to others.
    explicit CardSecrets(const Plan& plan);

    /// A secret for this person. CardFailure when its program does not give one. Not for a random one.
    [[nodiscard]] WipedBytes value(const std::string& name, const RowValues& row) const;
    /// The PIN for a new card: a random one is made, and handed out before this returns. CardFailure when nobody took
    /// it.
    [[nodiscard]] WipedBytes newPin(const std::string& name, const RowValues& row) const;

private:
    const Plan& m_plan;
    std::map<std::string, WipedBytes> m_kept;
};

} // namespace host::desk
