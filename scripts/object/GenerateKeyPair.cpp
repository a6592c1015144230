#include "scripts/Scripts.h"
#include "scripts/common/Keywords.h"
#include "scripts/common/ParameterErrors.h"
#include "scripts/common/UserLogin.h"
#include "token/AttributeReading.h"
#include "token/ObjectSearch.h"
#include "util/Conversions.h"
#include "util/Elements.h"
#include "util/Texts.h"

namespace plugin {

namespace {

struct Request {
    bool isRsa = false;
    CK_ULONG modulusBits = 0;
    SecretBuffer publicExponent;
};

Result readParameter(const Trace& trace, const Zel::Parameter& parameter, Request& request) {
    const Zel::TString& id = parameter.getId();
    const Zel::TString& value = parameter.getValue();
    if (equals(id, L"ALGOID")) {
        request.isRsa = equals(value, kRsaEncryption);
        return request.isRsa ? Result(CKR_OK) : badParameter(trace, id, value);
    }
    if (equals(id, L"KEYSIZE")) {
        request.modulusBits = equals(value, L"1024") ? 1024 : equals(value, L"2048") ? 2048 : 0;
        return request.modulusBits != 0 ? Result(CKR_OK) : badParameter(trace, id, value);
    }
    if (equals(id, L"PUBLICEXPONENT")) {
        SecretBuffer exponent = TStringB642Binary(value);
        if (!exponent.isEmpty()) {
            request.publicExponent = std::move(exponent);
        }
    }
    return CKR_OK;
}

Result readRequest(const ScriptContext& script, const Trace& trace, Request& request) {
    for (const Zel::Parameter& parameter : elements(script.params)) {
        const Result result = readParameter(trace, parameter, request);
        if (!result.isOk()) {
            return result;
        }
    }
    if (!request.isRsa) {
        return notFound(trace, L"ALGOID");
    }
    if (request.modulusBits == 0) {
        return notFound(trace, L"KEYSIZE");
    }
    return request.publicExponent.isEmpty() ? notFound(trace, L"PUBLICEXPONENT") : Result(CKR_OK);
}

Result generate(const ScriptContext& script, const Trace& trace, AttributeTemplate& publicKey,
                AttributeTemplate& privateKey, CK_OBJECT_HANDLE& hPublic) {
    CK_MECHANISM mechanism{CKM_RSA_PKCS_KEY_PAIR_GEN, nullptr, 0};
    auto call = script.session.call(trace, cryptoki::generateKeyPair);
    call.in(L"Mechanism", mechanism.mechanism);
    traceEntryTypes(trace, L"PublicTemplate", publicKey);
    traceEntryTypes(trace, L"PrivateTemplate", privateKey);
    CK_OBJECT_HANDLE hPrivate = 0;
    const CK_RV rv = call.run(script.session.handle(), &mechanism, publicKey.entries(), publicKey.count(),
                              privateKey.entries(), privateKey.count(), &hPublic, &hPrivate);
    if (rv == CKR_OK) {
        trace.output(L"hPublicObject", hPublic);
        trace.output(L"hPrivateObject", hPrivate);
    }
    return rv;
}

/// Fills the templates, generates the pair on the token and outputs the modulus.
Result generateFor(ScriptContext& script, const Trace& trace, Request& request) {
    AttributeTemplate publicKey(14, {CKA_TOKEN, CKA_PRIVATE, CKA_KEY_TYPE, CKA_MODULUS_BITS, CKA_PUBLIC_EXPONENT,
                                     CKA_MODIFIABLE, CKA_LABEL, CKA_SUBJECT, CKA_ID, CKA_DERIVE, CKA_ENCRYPT,
                                     CKA_VERIFY, CKA_VERIFY_RECOVER, CKA_WRAP});
    publicKey.setBoolean(CKA_TOKEN, true);
    publicKey.setBoolean(CKA_PRIVATE, false);
    publicKey.setNumber(CKA_KEY_TYPE, CKK_RSA);
    publicKey.setNumber(CKA_MODULUS_BITS, request.modulusBits);
    publicKey.setBytes(CKA_PUBLIC_EXPONENT, std::move(request.publicExponent));
    publicKey.endFixed();
    AttributeTemplate privateKey(14, {CKA_TOKEN, CKA_PRIVATE, CKA_KEY_TYPE, CKA_MODIFIABLE, CKA_LABEL, CKA_SUBJECT,
                                      CKA_ID, CKA_DERIVE, CKA_SENSITIVE, CKA_DECRYPT, CKA_SIGN, CKA_SIGN_RECOVER,
                                      CKA_UNWRAP, CKA_EXTRACTABLE});
    privateKey.setBoolean(CKA_TOKEN, true);
    privateKey.setBoolean(CKA_PRIVATE, true);
    privateKey.setNumber(CKA_KEY_TYPE, CKK_RSA);
    privateKey.endFixed();
    const Result applied =
        applyKeywords(trace, *script.params, keyKeywords(), UnreadableLabel::Counted, &publicKey, &privateKey);
    if (!applied.isOk()) {
        return applied;
    }
    CK_OBJECT_HANDLE hPublic = 0;
    if (const Result made = generate(script, trace, publicKey, privateKey, hPublic); !made.isOk()) {
        return made;
    }
    ReadAttribute modulus{CKA_MODULUS, {}};
    AttributeBudget budget;
    const CK_RV rv = readAttributes(script.session, trace, hPublic, {&modulus, 1}, budget);
    if (rv == CKR_OK) {
        script.outputs.pushBase64(L"MODULUS", modulus.value.data(), modulus.value.size());
    }
    return rv;
}

} // namespace

/// Only a success ends the script's own login; after a failure the login stays.
Result scripts::generateKeyPair(ScriptContext& script, const Trace& trace) {
    bool loggedIn = false;
    const Result login = requireAndLogin(script, trace, loggedIn);
    if (!login.isOk()) {
        return login;
    }
    Request request;
    if (const Result read = readRequest(script, trace, request); !read.isOk()) {
        return read;
    }
    const Result result = generateFor(script, trace, request);
    if (!result.isOk() || !loggedIn) {
        return result;
    }
    return script.session.call(trace, cryptoki::logout).run(script.session.handle());
}

} // namespace plugin
