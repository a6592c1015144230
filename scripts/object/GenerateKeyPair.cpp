#include "scripts/Scripts.h"
#include "scripts/common/Faults.h"
#include "scripts/common/Keywords.h"
#include "scripts/common/LoginFrame.h"
#include "scripts/common/ObjectSearch.h"
#include "token/AttributeReading.h"
#include "util/Conversions.h"
#include "util/Texts.h"

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
        request.isRsa = equals(value, scripts::kRsaEncryption);
        return request.isRsa ? Result(CKR_OK) : scripts::badParameter(trace, id, value);
    }
    if (equals(id, L"KEYSIZE")) {
        request.modulusBits = equals(value, L"1024") ? 1024 : equals(value, L"2048") ? 2048 : 0;
        return request.modulusBits != 0 ? Result(CKR_OK) : scripts::badParameter(trace, id, value);
    }
    if (equals(id, L"PUBLICEXPONENT")) {
        SecretBuffer exponent = TStringB642Binary(value);
        if (!exponent.isEmpty()) {
            request.publicExponent = std::move(exponent);
        }
    }
    return CKR_OK;
}

Result readRequest(const Script& script, const Trace& trace, Request& request) {
    for (std::uint32_t i = 0; i < script.params->size(); ++i) {
        const Result result = readParameter(trace, *script.params->at(i), request);
        if (!result.isOk()) {
            return result;
        }
    }
    if (!request.isRsa) {
        return scripts::notFound(trace, L"ALGOID");
    }
    if (request.modulusBits == 0) {
        return scripts::notFound(trace, L"KEYSIZE");
    }
    return request.publicExponent.isEmpty() ? scripts::notFound(trace, L"PUBLICEXPONENT") : Result(CKR_OK);
}

Result generate(const Script& script, const Trace& trace, AttributeTemplate& publicKey, AttributeTemplate& privateKey,
                CK_OBJECT_HANDLE& hPublic) {
    CK_MECHANISM mechanism{CKM_RSA_PKCS_KEY_PAIR_GEN, nullptr, 0};
    auto call = script.session.call(trace, cryptoki::generateKeyPair);
    call.in(L"Mechanism", mechanism.mechanism);
    scripts::traceEntryTypes(trace, L"PublicTemplate", publicKey);
    scripts::traceEntryTypes(trace, L"PrivateTemplate", privateKey);
    CK_OBJECT_HANDLE hPrivate = 0;
    const CK_RV rv = call.run(script.session.handle(), &mechanism, publicKey.entries(), publicKey.count(),
                              privateKey.entries(), privateKey.count(), &hPublic, &hPrivate);
    if (rv == CKR_OK) {
        trace.output(L"hPublicObject", hPublic);
        trace.output(L"hPrivateObject", hPrivate);
    }
    return rv;
}

/// Shapes the templates, has the token generate the pair and reports the modulus.
Result generateFor(Script& script, const Trace& trace, Request& request) {
    AttributeTemplate publicKey(14, {CKA_TOKEN, CKA_PRIVATE, CKA_KEY_TYPE, CKA_MODULUS_BITS, CKA_PUBLIC_EXPONENT,
                                     CKA_MODIFIABLE, CKA_LABEL, CKA_SUBJECT, CKA_ID, CKA_DERIVE, CKA_ENCRYPT,
                                     CKA_VERIFY, CKA_VERIFY_RECOVER, CKA_WRAP});
    publicKey.setBoolean(CKA_TOKEN, true);
    publicKey.setBoolean(CKA_PRIVATE, false);
    publicKey.setNumber(CKA_KEY_TYPE, CKK_RSA);
    publicKey.setNumber(CKA_MODULUS_BITS, request.modulusBits);
    publicKey.setBytes(CKA_PUBLIC_EXPONENT, std::move(request.publicExponent));
    publicKey.closeHead();
    AttributeTemplate privateKey(14, {CKA_TOKEN, CKA_PRIVATE, CKA_KEY_TYPE, CKA_MODIFIABLE, CKA_LABEL, CKA_SUBJECT,
                                      CKA_ID, CKA_DERIVE, CKA_SENSITIVE, CKA_DECRYPT, CKA_SIGN, CKA_SIGN_RECOVER,
                                      CKA_UNWRAP, CKA_EXTRACTABLE});
    privateKey.setBoolean(CKA_TOKEN, true);
    privateKey.setBoolean(CKA_PRIVATE, true);
    privateKey.setNumber(CKA_KEY_TYPE, CKK_RSA);
    privateKey.closeHead();
    Result result = scripts::applyKeywords(trace, *script.params, scripts::keyKeywords(),
                                           scripts::UnreadableLabel::Counted, &publicKey, &privateKey);
    CK_OBJECT_HANDLE hPublic = 0;
    if (result.isOk()) {
        result = generate(script, trace, publicKey, privateKey, hPublic);
    }
    if (!result.isOk()) {
        return result;
    }
    scripts::ReadAttribute modulus{CKA_MODULUS, {}};
    scripts::AttributeBudget budget;
    const CK_RV rv = scripts::readAttributes(script.session, trace, hPublic, {&modulus, 1}, budget);
    if (rv == CKR_OK) {
        script.outputs.pushBase64(L"MODULUS", modulus.value.data(), modulus.value.size());
    }
    return rv;
}

} // namespace

/// Only a full success logs out what was logged in here; after any fault or failure the login stays.
Result scripts::generateKeyPair(Script& script, const Trace& trace) {
    bool loggedIn = false;
    const Result login = scripts::requireAndLogin(script, trace, loggedIn);
    if (!login.isOk()) {
        return login;
    }
    Request request;
    Result result = readRequest(script, trace, request);
    if (result.isOk()) {
        result = generateFor(script, trace, request);
    }
    if (!result.isOk() || !loggedIn) {
        return result;
    }
    return script.session.call(trace, cryptoki::logout).run(script.session.handle());
}
