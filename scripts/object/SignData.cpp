#include "scripts/Scripts.h"
#include "scripts/common/Keywords.h"
#include "scripts/common/ParameterErrors.h"
#include "scripts/common/UserLogin.h"
#include "token/ObjectSearch.h"
#include "util/Conversions.h"
#include "util/Elements.h"
#include "util/Texts.h"

namespace plugin {

namespace {

struct Request {
    Zel::TString algorithm;
    SecretBuffer keyId;
    SecretBuffer data;
};

/// The access values come first; their data is hexadecimal.
Request storedRequest(const AccessValues& access) {
    return {access.algoId(), TStringHex2Binary(access.keyId()), TStringHex2Binary(access.dataToSign())};
}

/// The operation's parameters fill what is still missing; their data is Base64.
void completeFromParameters(const Zel::Vector<Zel::Parameter>& params, Request& request) {
    for (const Zel::Parameter& parameter : elements(params)) {
        const Zel::TString& id = parameter.getId();
        const Zel::TString& value = parameter.getValue();
        if (request.algorithm.empty() && equals(id, L"ALGOID")) {
            request.algorithm = value;
        } else if (request.keyId.isEmpty() && equals(id, L"KEYID")) {
            request.keyId = TStringHex2Binary(value);
        } else if (request.data.isEmpty() && equals(id, L"DATA")) {
            request.data = TStringB642Binary(value);
        }
    }
}

Result check(const Trace& trace, const Request& request) {
    if (request.algorithm.empty()) {
        return notFound(trace, L"ALGOID");
    }
    if (!equals(request.algorithm, kRsaEncryption)) {
        return badParameter(trace, L"ALGOID", request.algorithm);
    }
    if (request.keyId.isEmpty()) {
        return notFound(trace, L"KEYID");
    }
    return request.data.isEmpty() ? notFound(trace, L"DATA") : Result(CKR_OK);
}

CK_RV beginSigning(const ScriptContext& script, const Trace& trace, CK_OBJECT_HANDLE hKey) {
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    return script.session.call(trace, cryptoki::signInit)
        .in(L"Mechanism", mechanism.mechanism)
        .in(L"hObject", hKey)
        .run(script.session.handle(), &mechanism, hKey);
}

/// Calls C_Sign for the length, then for the signature.
CK_RV sign(ScriptContext& script, const Trace& trace, Request& request) {
    const auto first = script.session.call(trace, cryptoki::sign, {.tolerated = CKR_BUFFER_TOO_SMALL});
    CK_ULONG length = 0;
    CK_RV rv = first.run(script.session.handle(), request.data.data(), request.data.size(), nullptr, &length);
    if (rv != CKR_OK && rv != CKR_BUFFER_TOO_SMALL) {
        return rv;
    }
    if (length == static_cast<CK_ULONG>(-1)) {
        return first.fail(CKR_GENERAL_ERROR);
    }
    SecretBuffer signature = SecretBuffer::tryAllocate(length);
    if (signature.isNull()) {
        return first.fail(CKR_HOST_MEMORY);
    }
    const auto second = script.session.call(trace, cryptoki::sign);
    trace.dump(TraceLevel::Value, request.data.bytes(), L": --> Data to be signed");
    rv = second.run(script.session.handle(), request.data.data(), request.data.size(), signature.data(), &length);
    if (rv != CKR_OK) {
        return rv;
    }
    if (length > signature.size()) {
        return second.fail(CKR_GENERAL_ERROR);
    }
    signature.truncate(length);
    trace.dump(TraceLevel::Value, signature.bytes(), L": <-- Signed Data");
    script.outputs.pushBase64(L"SIGNEDDATA", signature.data(), signature.size());
    return CKR_OK;
}

Result signWithKey(ScriptContext& script, const Trace& trace, Request& request) {
    if (const Result checked = check(trace, request); !checked.isOk()) {
        return checked;
    }
    CK_OBJECT_HANDLE hKey = 0;
    if (const Result found = findPrivateKey(script.session, trace, {}, std::move(request.keyId), hKey); !found.isOk()) {
        return found;
    }
    if (const CK_RV rv = beginSigning(script, trace, hKey); rv != CKR_OK) {
        return rv;
    }
    return sign(script, trace, request);
}

} // namespace

Result scripts::signData(ScriptContext& script, const Trace& trace) {
    Request request = storedRequest(script.access);
    if (script.params != nullptr) {
        completeFromParameters(*script.params, request);
    }
    bool loggedIn = false;
    const CK_RV rv = readAndLogin(script, trace, loggedIn);
    if (rv != CKR_OK) {
        return rv;
    }
    const Result result =
        withOwnLogin(script.session, trace, loggedIn, [&] { return signWithKey(script, trace, request); });
    if (!loggedIn) {
        return result;
    }
    // The result of the logout replaces every earlier failure of the token: hosts look for "SIGNEDDATA", not at
    // "ERROR".
    const CK_RV last = logoutUntilDone(script.session, trace).last;
    return result.isClientCode() ? result : Result(last);
}

} // namespace plugin
