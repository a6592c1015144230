#include "scripts/common/Keywords.h"
#include "scripts/common/ParameterErrors.h"
#include "scripts/object/ObjectWriters.h"
#include "scripts/object/RsaKey.h"
#include "token/ObjectSearch.h"
#include "util/Conversions.h"
#include "util/Elements.h"
#include "util/Texts.h"

namespace plugin {

namespace {

struct Request {
    bool isRsa = false;
    bool isEncodingGiven = false;
    RsaKey key;
};

Result readParameter(const Trace& trace, const Zel::Parameter& parameter, Request& request) {
    const Zel::TString& id = parameter.getId();
    const Zel::TString& value = parameter.getValue();
    if (equals(id, L"ALGOID")) {
        request.isRsa = equals(value, kRsaEncryption);
        return request.isRsa ? Result(CKR_OK) : badParameter(trace, id, value);
    }
    if (equals(id, L"KEYENCODING")) {
        // Both are read as unencrypted PKCS #8; an encrypted key cannot be read.
        request.isEncodingGiven = equals(value, L"PKCS8.clear") || equals(value, L"PKCS8.encrypted");
        return request.isEncodingGiven ? Result(CKR_OK) : badParameter(trace, id, value);
    }
    if (equals(id, L"KEYVALUE")) {
        request.key = getRSAKeyComponentFromTString(value);
        trace.write(TraceLevel::Value, L": key size = %u ", request.key.sizeInBits);
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
    if (!request.isEncodingGiven) {
        return notFound(trace, L"KEYENCODING");
    }
    return request.key.sizeInBits == 0 ? notFound(trace, L"KEYVALUE") : Result(CKR_OK);
}

void setPrivateHead(AttributeTemplate& privateKey, RsaKey& key) {
    privateKey.setNumber(CKA_CLASS, CKO_PRIVATE_KEY);
    privateKey.setBoolean(CKA_TOKEN, true);
    privateKey.setBoolean(CKA_PRIVATE, true);
    privateKey.setNumber(CKA_KEY_TYPE, CKK_RSA);
    for (std::size_t i = 0; i < key.components.size(); ++i) {
        privateKey.setBytes(RsaKey::kAttributes[i], std::move(key.components[i]));
    }
    privateKey.endFixed();
}

void setPublicHead(AttributeTemplate& publicKey, const RsaKey& key) {
    publicKey.setNumber(CKA_CLASS, CKO_PUBLIC_KEY);
    publicKey.setBoolean(CKA_TOKEN, true);
    publicKey.setBoolean(CKA_PRIVATE, false);
    publicKey.setNumber(CKA_KEY_TYPE, CKK_RSA);
    publicKey.setBytes(CKA_MODULUS, key.modulus().bytes());
    publicKey.setBytes(CKA_PUBLIC_EXPONENT, key.publicExponent().bytes());
    // CKA_MODULUS_BITS may have to be added later.
    publicKey.endFixed(1);
}

Result createPrivateKey(const ScriptContext& script, const Trace& trace, AttributeTemplate& privateKey,
                        CK_ULONG sizeInBits) {
    auto call = script.session.call(trace, cryptoki::createObject, {.detail = L" private key"});
    call.in(L"ulAttCount", privateKey.count());
    traceEntryTypes(trace, L"Template", privateKey);
    call.note(L": --> ulKeySizeValue=%d", sizeInBits);
    CK_OBJECT_HANDLE hObject = 0;
    const CK_RV rv = call.run(script.session.handle(), privateKey.entries(), privateKey.count(), &hObject);
    if (rv == CKR_OK) {
        trace.output(L"hObject", hObject);
    }
    return rv;
}

/// Searches for a public key with the private key's identifier. Without an identifier the search uses the class value
/// in its place, which normally finds nothing.
Result findPublicKey(const ScriptContext& script, const Trace& trace, const AttributeTemplate& privateKey,
                     bool& isFound) {
    AttributeTemplate searched(2);
    searched.setNumber(CKA_CLASS, CKO_PUBLIC_KEY);
    if (const auto id = privateKey.find(CKA_ID)) {
        searched.setBytes(CKA_ID, privateKey.valueAt(*id));
    } else {
        searched.setNumber(CKA_ID, CKO_PUBLIC_KEY);
    }
    const ObjectSearch search(script.session, trace, {});
    CK_OBJECT_HANDLE hObject = 0;
    CK_ULONG count = 0;
    if (const CK_RV rv = search.init(searched); rv != CKR_OK) {
        return rv;
    }
    if (const CK_RV rv = search.find(hObject, count); rv != CKR_OK) {
        return rv;
    }
    isFound = count != 0 && hObject != 0;
    if (!isFound) {
        trace.dump(TraceLevel::Call, searched.valueAt(1), L" : key not found");
    }
    return search.finish();
}

/// Tokens differ on whether a public key may be given CKA_MODULUS_BITS: the first try is without it, the second with
/// it.
Result createPublicKey(const ScriptContext& script, const Trace& trace, AttributeTemplate& publicKey,
                       CK_ULONG sizeInBits) {
    auto call =
        script.session.call(trace, cryptoki::createObject,
                            {.detail = L" publick key without CKA_MODULUS_BITS", .failure = CallStyle::Failure::None});
    call.in(L"ulAttCount", publicKey.count());
    for (std::size_t i = 0; i < publicKey.count(); ++i) {
        traceEntryType(trace, L"Template", publicKey, i);
        traceEntryValue(trace, publicKey, i);
    }
    CK_OBJECT_HANDLE hObject = 0;
    CK_RV rv = call.run(script.session.handle(), publicKey.entries(), publicKey.count(), &hObject);
    if (rv != CKR_OK) {
        trace.failure(L" : C_CreateObject publick key 0x%02x : failed, retry with CKA_MODULUS_BITS ", rv);
        publicKey.setNumber(CKA_MODULUS_BITS, sizeInBits);
        rv = script.session.call(trace, cryptoki::createObject, kUnannounced)
                 .run(script.session.handle(), publicKey.entries(), publicKey.count(), &hObject);
    }
    if (rv == CKR_OK) {
        trace.output(L"hObject", hObject);
    }
    return rv;
}

/// Writes the public key of the pair, unless the token has it already. The private key stays also when this fails.
Result completePair(const ScriptContext& script, const Trace& trace, const AttributeTemplate& privateKey,
                    AttributeTemplate& publicKey, CK_ULONG sizeInBits) {
    bool isFound = false;
    const Result result = findPublicKey(script, trace, privateKey, isFound);
    if (!result.isOk() || isFound) {
        return result;
    }
    return createPublicKey(script, trace, publicKey, sizeInBits);
}

Result write(ScriptContext& script, const Trace& trace, bool isKeyPair) {
    Request request;
    if (const Result read = readRequest(script, trace, request); !read.isOk()) {
        return read;
    }
    AttributeTemplate privateKey(23);
    AttributeTemplate publicKey(16);
    if (isKeyPair) {
        setPublicHead(publicKey, request.key);
    }
    setPrivateHead(privateKey, request.key);
    const Result applied = applyKeywords(trace, *script.params, keyKeywords(), UnreadableLabel::Skipped,
                                         isKeyPair ? &publicKey : nullptr, &privateKey);
    if (!applied.isOk()) {
        return applied;
    }
    const Result made = createPrivateKey(script, trace, privateKey, request.key.sizeInBits);
    if (!made.isOk() || !isKeyPair) {
        return made;
    }
    return completePair(script, trace, privateKey, publicKey, request.key.sizeInBits);
}

} // namespace

Result writeKey(ScriptContext& script, bool isKeyPair) {
    return traced(L"writeKey", [&](const Trace& trace) { return write(script, trace, isKeyPair); });
}

} // namespace plugin
