#include <algorithm>
#include <chrono>
#include <random>

#include "host/card/CardFailure.h"
#include "host/card/Certificates.h"
#include "host/card/KeySteps.h"
#include "host/card/Removal.h"
#include "host/card/Signing.h"
#include "host/cli/card/CardCommands.h"
#include "host/cli/card/CardRun.h"
#include "host/cli/card/Doctor.h"
#include "host/cli/card/FileArguments.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "host/view/Diagnosis.h"
#include "host/view/Findings.h"
#include "host/x509/Name.h"
#include "host/x509/SignatureError.h"
#include "host/x509/TestCertificate.h"

namespace host {

namespace {

constexpr const char* kLabel = "p11host write test";

constexpr const char* kLook = "look for what is left";

/// An identifier that none of these objects has: 16 random bytes. It is the certificate's serial number, too, which is
/// a positive number.
std::string newIdentifier(const std::vector<ObjectView>& objects) {
    std::random_device random;
    std::string bytes(16, '\0');
    do {
        for (char& byte : bytes) {
            byte = static_cast<char>(random());
        }
        bytes.front() = static_cast<char>((static_cast<unsigned char>(bytes.front()) & 0x7FU) | 1U);
    } while (std::any_of(objects.begin(), objects.end(), [&](const ObjectView& o) { return o.id == bytes; }));
    return bytes;
}

bool isSame(const ObjectView& one, const ObjectView& other) {
    return one.objectClass == other.objectClass && one.id == other.id && one.label == other.label &&
           one.value == other.value && one.modulus == other.modulus;
}

/// The steps of the test. One that fails is noted, and those that do without it go on.
class Steps {
public:
    /// The user is logged in. CardFailure when the objects cannot be read; nothing is written then.
    Steps(Token& token, Json& report, const BeforeStep& beforeStep)
        : m_token(token), m_report(report), m_beforeStep(beforeStep), m_before(token.objects()) {
        m_report = {{"token", printable(token.info().label)},
                    {"id", hexadecimalText(m_id)},
                    {"steps", Json::array()},
                    {"left", nullptr}};
    }

    /// Interrupted when the person does not want to go on; what was written may be there then.
    void all() {
        const std::string removal = "the test credential is removed: p11host remove --id " + hexadecimalText(m_id);
        m_token.announce(removal);
        if (take("generate a key pair of 2048 bits", [this] { generate(); })) {
            take("sign, and verify the signature", [this] { sign(); });
            take("write a certificate and read it back", [this] { certify(); });
        }
        take("remove the key pair and the certificate", [this] { remove(); });
        if (take(kLook, [this] { look(); })) {
            m_token.note(removal);
        }
    }

    /// Success, or the status of the first step that failed.
    [[nodiscard]] ExitStatus status() const { return m_status; }

    /// The steps that failed, in their order, and what is left.
    [[nodiscard]] Findings findings() const {
        Findings findings;
        for (const Json& step : m_report["steps"]) {
            if (!step["done"].get<bool>() && step["step"] != kLook) {
                findings.push_back({Level::Fault,
                                    "write test: \"" + step["step"].get<std::string>() + "\" failed: " + reasonOf(step),
                                    "Send the report to the module's vendor: it has the record of the calls."});
            }
        }
        if (m_report["left"].is_null()) {
            findings.push_back({Level::Fault, "write test: what is left on the token could not be looked at",
                                "\"p11host objects\" shows it; \"p11host remove --id " + hexadecimalText(m_id) +
                                    "\" removes the test credential."});
        }
        for (const ObjectView& object : m_left) {
            findings.push_back(
                {Level::Fault, "write test: new on the token and not removed: " + describe(object), remedyFor(object)});
        }
        return findings;
    }

private:
    template <class Step>
    bool take(const char* name, Step&& step) {
        m_beforeStep(name);
        const auto begin = std::chrono::steady_clock::now();
        Json entry = {{"step", name}, {"done", true}};
        const auto fail = [&](ExitStatus status, const std::string& result, const std::string& reason) {
            entry.update(Json({{"done", false}, {"result", result}, {"reason", reason}}));
            m_status = m_status == ExitStatus::Success ? status : m_status;
        };
        try {
            step();
        } catch (const Interrupted&) {
            throw;
        } catch (const CardFailure& failure) {
            fail(failure.status, failure.result, failure.reason);
        } catch (const std::exception& error) { // such as UsageError for an even modulus
            fail(ExitStatus::Failed, "", error.what());
        }
        entry["nanoseconds"] =
            std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now() - begin).count();
        const bool isDone = entry["done"].get<bool>();
        m_report["steps"].push_back(std::move(entry));
        return isDone;
    }

    void generate() {
        checkKeySize(m_token, "2048");
        const ObjectView made = generateKey(m_token, {m_id, kLabel, "2048", {}});
        m_key.emplace(x509::viewOf(made.modulus), x509::viewOf(made.exponent), "the public key of the test");
    }

    void sign() {
        const x509::Bytes digest = x509::digestOf(x509::Hash::Sha256, x509::viewOf(std::string_view(kLabel)));
        const SignedDigest made = signDigest(m_token, m_id, x509::Hash::Sha256, digest);
        if (!m_key->verify(x509::Hash::Sha256, digest, made.signature)) {
            throw x509::SignatureError("the signature does not belong to the public key");
        }
    }

    void certify() {
        const x509::Bytes serial(m_id.begin(), m_id.end());
        const x509::Bytes der =
            x509::testCertificate(x509::parseSubject(std::string("/CN=") + kLabel), serial, *m_key,
                                  [this](const x509::Bytes& info) { return signDigestInfo(m_token, m_id, info); });
        writeCertificate(m_token, {x509::Certificate::read(der, "the certificate of the test"), m_id, kLabel, false});
        if (certificatesOf(m_token, m_id).front().value != textOf(der)) {
            throw CardFailure(ExitStatus::Failed, "reading the certificate", "the token gives back another one", "");
        }
    }

    void remove() {
        const Removal removal = planRemoval(m_token.objects(), {.id = m_id});
        if (!removal.going.empty()) {
            static_cast<void>(removeObjects(m_token, removal));
        }
    }

    /// Names every object that was not there before, whatever identifier the token gave it.
    void look() {
        std::vector<ObjectView> known = m_before;
        for (const ObjectView& object : m_token.objects()) {
            const auto same = std::find_if(known.begin(), known.end(),
                                           [&](const ObjectView& before) { return isSame(before, object); });
            if (same != known.end()) {
                known.erase(same);
            } else {
                m_left.push_back(object);
            }
        }
        m_report["left"] = Json::array();
        for (const ObjectView& object : m_left) {
            m_report["left"].push_back(describe(object));
        }
        if (!m_left.empty()) {
            throw CardFailure(ExitStatus::Failed, kLook,
                              "objects that were not there before: " + std::to_string(m_left.size()), "");
        }
    }

    static std::string reasonOf(const Json& step) {
        const std::string result = step["result"].get<std::string>();
        return (result.empty() ? "" : result + " ") + step["reason"].get<std::string>();
    }

    [[nodiscard]] std::string remedyFor(const ObjectView& object) const {
        if (object.id.empty()) {
            return "It has no identifier: remove it with the vendor's own tool.";
        }
        const std::string command = "\"p11host remove --id " + hexadecimalText(object.id) + "\"";
        return object.id == m_id ? "Remove it with " + command + " or the vendor's own tool."
                                 : "The token gave it another identifier. \"p11host objects\" shows what else has it; "
                                   "remove it with " +
                                       command + " or the vendor's own tool.";
    }

    Token& m_token;
    Json& m_report;
    const BeforeStep& m_beforeStep;
    std::vector<ObjectView> m_before;
    std::string m_id = newIdentifier(m_before);
    std::vector<ObjectView> m_left;
    std::optional<x509::PublicKey> m_key;
    ExitStatus m_status = ExitStatus::Success;
};

/// Nobody's last try is spent on a test, whatever a person answers.
void refuseRisk(Token& token) {
    token.refresh();
    if (!token.info().isInitialised || token.info().isReadOnly || !token.info().hasUserPin) {
        throw CardFailure(ExitStatus::Refused, "the write test on " + token.name(),
                          "the token is blank, read-only or has no user PIN",
                          "Take a token that is ready; \"p11host readers\" shows the state of each.");
    }
    try {
        token.guardPin(PinRole::User); // refuses the last try, because this command has no --last-try
    } catch (CardFailure& failure) {
        if (failure.status == ExitStatus::Refused) {
            failure.remedy = "A login with the right PIN, in another command, gives all tries back.";
        }
        throw;
    }
}

/// Puts the findings of the test before the others.
void addFindings(const Steps& steps, Json& report) {
    const Findings found = steps.findings();
    putFirst(found, report);
    if (!found.empty()) {
        report["verdict"] = nameOf(Verdict::Faults);
    }
}

ExitStatus testWriting(CardRun& run, Json& report, const BeforeStep& beforeStep) {
    beforeStep("find the token and log in");
    Token& token = run.token();
    refuseRisk(token);
    run.confirm("the write test on " + token.name(),
                "Write a test key pair and a certificate to " + token.name() + " and remove them again?");
    loginUser(run, token);
    Steps steps(token, report["writeTest"], beforeStep);
    try {
        steps.all();
    } catch (const Interrupted&) {
        addFindings(steps, report);
        throw;
    }
    addFindings(steps, report);
    return steps.status();
}

void doctor(CardRun& run) {
    runDoctor(run, testWriting);
}

} // namespace

CardCommand doctorCommand() {
    return doctorRow(doctor);
}

} // namespace host
