#include "host/card/Signing.h"

#include <algorithm>
#include <array>

#include "host/card/KeyLookup.h"
#include "host/card/KeySteps.h"
#include "host/plugin/ClientCodes.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "host/x509/SignatureError.h"
#include "platform/Streams.h"
#include "text/Base64.h"

namespace host {

namespace {

constexpr std::size_t kPiece = 65536;

bool allows(const std::vector<std::string>& usage, const char* one, const char* other) {
    return std::any_of(usage.begin(), usage.end(), [&](const std::string& use) { return use == one || use == other; });
}

CardFailure wrongSignature(const Token& token, const std::string& id) {
    return {ExitStatus::Failed, "verifying the signature of " + token.name(),
            "it does not belong to the public key " + hexadecimalText(id) + "; it was thrown away",
            "Several keys may have this identifier: \"p11host objects --pin prompt\" lists them."};
}

/// The value of "SIGNEDDATA".
x509::Bytes signatureOf(const ScriptAnswer& answer) {
    const Zel::Parameter* const output = findOutput(answer.response->getResponseParameters(), "SIGNEDDATA");
    const std::string digits = output == nullptr ? "" : toUtf8(output->getValue());
    const SecretBuffer bytes = text::decodeBase64(std::wstring(digits.begin(), digits.end()));
    return {bytes.bytes().begin(), bytes.bytes().end()};
}

} // namespace

x509::KeyUsage usageOf(const FoundKey& key) {
    std::string list = allows(key.usage, "sign", "verify") ? "digitalSignature" : "";
    if (allows(key.usage, "decrypt", "encrypt")) {
        list += list.empty() ? "keyEncipherment" : ",keyEncipherment";
    }
    return list.empty() ? x509::KeyUsage() : x509::parseKeyUsage(list);
}

x509::Bytes digestOfFile(const std::string& path, x509::Hash hash) {
    x509::Hasher hasher(hash);
    std::optional<platform::InputStream> stream = platform::InputStream::open(path);
    std::array<char, kPiece> piece; // NOLINT: written before it is read
    std::optional<std::size_t> count;
    do {
        count = stream ? stream->read(piece.data(), piece.size()) : std::nullopt;
        if (!count) {
            endIfInterrupted();
            throw UsageError("cannot read file \"" + path + "\": " + platform::InputStream::lastError());
        }
        hasher.update(x509::viewOf(std::string_view(piece.data(), *count)));
    } while (*count != 0);
    return hasher.finish();
}

x509::Bytes signDigestInfo(Token& token, const std::string& id, const x509::Bytes& digestInfo) {
    ScriptCall call("signData");
    call.plain("ALGOID", "1.2.840.113549.1.1.1").bytes("KEYID", id);
    call.base64("DATA", {reinterpret_cast<const char*>(digestInfo.data()), digestInfo.size()});
    const std::optional<ScriptAnswer> answer = token.run("signing", call);
    return answer ? signatureOf(*answer) : x509::Bytes();
}

SignedDigest signDigest(Token& token, const std::string& id, x509::Hash hash, const x509::Bytes& digest) {
    SignedDigest result;
    result.signature = signDigestInfo(token, id, x509::digestInfo(hash, digest));
    const std::optional<FoundKey> found = findKey(token, id);
    if (token.rules().isDryRun || !found) {
        return result;
    }
    result.isVerified = found->key.verify(hash, digest, result.signature);
    if (!result.isVerified) {
        throw wrongSignature(token, id);
    }
    return result;
}

std::optional<x509::Bytes> signRequest(Token& token, const std::string& id, x509::Hash hash,
                                       const x509::CertificateRequest& request) {
    const auto sign = [&](const x509::Bytes& digestInfo) { return signDigestInfo(token, id, digestInfo); };
    try {
        return request.sign(hash, sign);
    } catch (const x509::SignatureError&) {
        if (token.rules().isDryRun) {
            return std::nullopt; // planned, not signed
        }
        throw wrongSignature(token, id);
    }
}

} // namespace host
