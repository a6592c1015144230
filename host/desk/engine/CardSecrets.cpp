#include "host/desk/engine/CardSecrets.h"

#include <algorithm>

#include "host/card/CardFailure.h"
#include "host/desk/engine/PlannedRun.h"
#include "host/scripts/Secrets.h"
#include "host/x509/RandomDigits.h"

namespace host::desk {

namespace {

WipedBytes firstLine(const WipedBytes& output) {
    const auto end = std::find_if(output.begin(), output.end(), [](char c) { return c == '\n' || c == '\r'; });
    return {output.begin(), end};
}

CardFailure noAnswer(const std::string& doing, const std::string& reason) {
    return {ExitStatus::Failed, doing, reason, "Run the program by hand and see what it says."};
}

WipedBytes askProgram(const PlannedCommand& command, const RowValues& row, const std::string& name) {
    WipedBytes secret;
    std::string reason;
    const bool isTaken = runPlanned(command, row, "", [&](platform::CommandResult& result) {
        reason = faultOf(command, result);
        secret = firstLine(result.output);
        reason = reason.empty() && secret.empty() ? "its first line is empty" : reason;
        return reason.empty() ? Verdict::Taken : Verdict::TryAgain;
    });
    if (!isTaken) {
        throw noAnswer("asking for the secret \"" + name + "\"", reason);
    }
    return secret;
}

void deliver(const PlannedCommand& command, const RowValues& row, const WipedBytes& pin) {
    std::string reason;
    WipedBytes line = pin;
    line.push_back('\n');
    const bool isTaken =
        runPlanned(command, row, {line.data(), line.size()}, [&](const platform::CommandResult& result) {
            // What it says may quote the PIN.
            platform::CommandResult quiet;
            quiet.end = result.end;
            quiet.status = result.status;
            quiet.reason = result.reason;
            reason = faultOf(command, quiet);
            return reason.empty() ? Verdict::Taken : Verdict::TryAgain;
        });
    if (!isTaken) {
        throw noAnswer("delivering the PIN", reason);
    }
}

} // namespace

CardSecrets::CardSecrets(const Plan& plan) : m_plan(plan) {
    for (const auto& [name, source] : plan.secrets) {
        if (source.kind == SecretKind::Environment) {
            m_kept.emplace(name, secretFromEnvironment(source.name));
        } else if (source.kind == SecretKind::File) {
            m_kept.emplace(name, secretFromPrivateFile(source.name));
        }
    }
}

WipedBytes CardSecrets::value(const std::string& name, const RowValues& row) const {
    const auto kept = m_kept.find(name);
    return kept == m_kept.end() ? askProgram(m_plan.secrets.at(name).command, row, name) : kept->second;
}

WipedBytes CardSecrets::newPin(const std::string& name, const RowValues& row) const {
    const SecretSource& source = m_plan.secrets.at(name);
    if (source.kind != SecretKind::Random) {
        return value(name, row);
    }
    WipedBytes pin = x509::randomDigits(source.digits);
    deliver(source.command, row, pin);
    return pin;
}

} // namespace host::desk
