#include "host/desk/engine/Authority.h"

#include <chrono>
#include <ctime>
#include <optional>

#include "host/card/CardFailure.h"
#include "host/desk/engine/PlannedRun.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"

namespace host::desk {

namespace {

/// "2026-01-31T12:00:00Z" for a moment as the system counts.
std::string utcText(std::time_t moment) {
    const auto days = std::chrono::floor<std::chrono::days>(std::chrono::sys_seconds(std::chrono::seconds(moment)));
    const std::chrono::year_month_day date(days);
    const std::chrono::hh_mm_ss time(std::chrono::sys_seconds(std::chrono::seconds(moment)) - days);
    const auto two = [](auto number) {
        const std::string digits = std::to_string(number);
        return digits.size() < 2 ? "0" + digits : digits;
    };
    return std::to_string(static_cast<int>(date.year())) + "-" + two(static_cast<unsigned>(date.month())) + "-" +
           two(static_cast<unsigned>(date.day())) + "T" + two(time.hours().count()) + ":" +
           two(time.minutes().count()) + ":" + two(time.seconds().count()) + "Z";
}

/// The certificate in an answer, which may hold the authority's own as well: that of the key, else the first one that
/// is no authority's. nullopt with the reason.
std::optional<x509::Certificate> certificateIn(const WipedBytes& answer, const x509::PublicKey& key,
                                               std::string& reason) {
    try {
        std::optional<x509::Certificate> other;
        for (x509::Certificate& certificate :
             x509::Certificate::readAll(x509::viewOf(answer), "the authority's answer")) {
            if (certificate.publicKey == key) {
                return std::move(certificate);
            }
            if (!other && !certificate.isAuthority) {
                other = std::move(certificate);
            }
        }
        reason = other ? "" : "the authority's answer holds certificates of authorities alone";
        return other;
    } catch (const UsageError& error) {
        reason = printable(error.what());
        return std::nullopt;
    }
}

} // namespace

std::string faultOf(const x509::Certificate& certificate, const Wanted& wanted, const std::string& now) {
    if (certificate.publicKey != wanted.key) {
        return "the certificate belongs to another key";
    }
    if (now < certificate.notBefore || now > certificate.notAfter) {
        return "the certificate is valid from " + certificate.notBefore + " to " + certificate.notAfter +
               ", and it is " + now;
    }
    return certificate.subjectText == wanted.subject
               ? ""
               : "the certificate's subject is " + printable(certificate.subjectText) + ", and " +
                     printable(wanted.subject) + " was planned";
}

x509::Certificate askAuthority(const PlannedCommand& command, const RowValues& row, const std::string& request,
                               const Wanted& wanted, const NoteLost& lost) {
    std::string reason;
    std::optional<x509::Certificate> certificate;
    const auto judge = [&](const platform::CommandResult& result) {
        reason = faultOf(command, result);
        if (result.end == platform::CommandResult::End::NotStarted) {
            return Verdict::TryAgain;
        }
        // Whatever the program says about itself, a certificate that it prints exists.
        std::string unread;
        certificate = certificateIn(result.output, wanted.key, unread);
        if (reason.empty()) {
            reason = certificate ? faultOf(*certificate, wanted, utcText(std::time(nullptr))) : unread;
        }
        if (reason.empty()) {
            return Verdict::Taken;
        }
        lost(certificate ? certificate->pem() : "", reason);
        certificate.reset();
        return Verdict::TryAgain;
    };
    if (!runPlanned(command, row, request, judge)) {
        throw CardFailure(ExitStatus::Failed, "asking the authority for a certificate", reason,
                          "Ask whoever runs the authority; \"p11host issue retry\" tries again.");
    }
    return std::move(*certificate);
}

} // namespace host::desk
