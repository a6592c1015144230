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
#include "host/plugin/Texts.h"
#include "host/x509/Name.h"
#include "host/x509/SignatureError.h"
#include "host/x509/TestCertificate.h"

namespace host {

namespace {

constexpr const char* kLabel = "p11host write test";

/// An identifier that no object on a token has: 16 random bytes.
std::string newIdentifier() {
    std::random_device random;
    std::string bytes(16, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random() & 0x7FU);
    }
    bytes.front() = static_cast<char>(bytes.front() | 1); // it is the certificate's serial number, too
    return bytes;
}

/// The steps of the test. One that fails is noted, and those that do without it go on.
class Steps {
public:
    Steps(Token& token, Json& report) : m_token(token), m_report(report) {
        m_report = {{"token", printable(token.info().label)},
                    {"id", hexadecimalText(m_id)},
                    {"steps", Json::array()},
                    {"left", Json::array()}};
    }

    ExitStatus all() {
        m_token.announce("the test credential is removed: p11host remove --id " + hexadecimalText(m_id));
        if (take("generate a key pair of 2048 bits", [this] { generate(); })) {
            take("sign, and verify the signature", [this] { sign(); });
            take("write a certificate and read it back", [this] { certify(); });
        }
        take("remove the key pair and the certificate", [this] { remove(); });
        look();
        return m_status;
    }

private:
    template <class Step>
    bool take(const char* name, Step&& step) {
        const auto begin = std::chrono::steady_clock::now();
        Json entry = {{"step", name}, {"done", true}};
        try {
            step();
        } catch (const CardFailure& failure) {
            entry.update(Json({{"done", false}, {"result", failure.result}, {"reason", failure.reason}}));
            m_status = m_status == ExitStatus::Success ? failure.status : m_status;
        } catch (const x509::SignatureError& error) {
            entry.update(Json({{"done", false}, {"result", ""}, {"reason", error.what()}}));
            m_status = ExitStatus::Failed;
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
        m_key.emplace(viewOf(made.modulus), viewOf(made.exponent), "the public key of the test");
    }

    void sign() {
        const x509::Bytes digest = x509::digestOf(x509::Hash::Sha256, viewOf(std::string_view(kLabel)));
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

    /// What cannot be removed is said.
    void look() {
        for (const ObjectView& object : m_token.objects()) {
            if (object.id == m_id) {
                m_report["left"].push_back(describe(object));
            }
        }
        if (m_report["left"].empty()) {
            m_token.note("the test credential is removed: p11host remove --id " + hexadecimalText(m_id));
        }
    }

    Token& m_token;
    Json& m_report;
    std::string m_id = newIdentifier();
    std::optional<x509::PublicKey> m_key;
    ExitStatus m_status = ExitStatus::Success;
};

/// Nobody's last try is spent on a test, whatever a person answers.
void refuseRisk(Token& token) {
    token.refresh();
    const std::string doing = "the write test on " + token.name();
    if (!token.info().isInitialised || token.info().isReadOnly || !token.info().hasUserPin) {
        throw CardFailure(ExitStatus::Refused, doing, "the token is blank, read-only or has no user PIN",
                          "Take a token that is ready; \"p11host readers\" shows the state of each.");
    }
    if (token.info().userPin == PinState::LastTry) {
        throw CardFailure(ExitStatus::Refused, doing, "one try is left for the user PIN; no PIN was sent",
                          "A login with the right PIN, in another command, gives all tries back.");
    }
}

void addFindings(Json& report) {
    Json& findings = report["findings"];
    for (const Json& step : report["writeTest"]["steps"]) {
        if (!step["done"].get<bool>()) {
            findings.insert(findings.begin(),
                            {{"level", "fault"},
                             {"text", "write test: \"" + step["step"].get<std::string>() + "\" failed: " +
                                          step["result"].get<std::string>() + " " + step["reason"].get<std::string>()},
                             {"remedy", "Send the report to the module's vendor: it has the record of the calls."}});
        }
    }
    for (const Json& object : report["writeTest"]["left"]) {
        findings.insert(findings.begin(), {{"level", "warning"},
                                           {"text", "write test: left on the token: " + object.get<std::string>()},
                                           {"remedy", "Remove it with \"p11host remove --id " +
                                                          report["writeTest"]["id"].get<std::string>() +
                                                          "\" or the vendor's own tool."}});
    }
}

ExitStatus testWriting(CardRun& run, Json& report) {
    Token& token = run.token();
    refuseRisk(token);
    run.confirm("the write test on " + token.name(),
                "Write a test key pair and a certificate to " + token.name() + " and remove them again?");
    loginUser(run, token);
    const ExitStatus status = Steps(token, report["writeTest"]).all();
    addFindings(report);
    if (status != ExitStatus::Success) {
        report["verdict"] = "faults";
    }
    return status;
}

void doctor(CardRun& run) {
    runDoctor(run, testWriting);
}

} // namespace

CardCommand doctorCommand() {
    return doctorRow(doctor);
}

} // namespace host
