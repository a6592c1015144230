#include "scripts/common/ParameterErrors.h"
#include "scripts/common/UserLogin.h"
#include "scripts/object/ObjectWriters.h"
#include "token/ObjectSearch.h"
#include "util/Conversions.h"
#include "util/Elements.h"
#include "util/Texts.h"

namespace plugin {

namespace {

/// The vendor-defined attribute of a private key that carries its container name.
constexpr CK_ATTRIBUTE_TYPE kContainerNameAttribute = CKA_VENDOR_DEFINED + 8;

struct Request {
    SecretBuffer keyId;
    SecretBuffer containerName;
};

/// As with the keywords of certificates and keys, a value without bytes sets nothing.
void setBytes(SecretBuffer& target, SecretBuffer value) {
    if (!value.isEmpty()) {
        target = std::move(value);
    }
}

/// "DEFAULT_CONTAINER" has no effect: hosts may send it.
Result readRequest(const ScriptContext& script, const Trace& trace, Request& request) {
    for (const Zel::Parameter& parameter : elements(script.params)) {
        const Zel::TString& id = parameter.getId();
        const Zel::TString& value = parameter.getValue();
        if (equals(id, L"KEYID")) {
            setBytes(request.keyId, TStringHex2Binary(value));
        } else if (equals(id, L"CONTAINER_NAME")) {
            SecretBuffer name = TStringHex2Binary(value);
            name.truncate(name.textLength());
            setBytes(request.containerName, std::move(name));
        }
    }
    if (request.keyId.isEmpty()) {
        return notFound(trace, L"KEYID");
    }
    return request.containerName.isEmpty() ? notFound(trace, L"CONTAINER_NAME") : Result(CKR_OK);
}

Result nameKey(const ScriptContext& script, const Trace& trace) {
    Request request;
    if (const Result read = readRequest(script, trace, request); !read.isOk()) {
        return read;
    }
    CK_OBJECT_HANDLE hKey = 0;
    const Result found =
        findPrivateKey(script.session, trace, {.announcesFindTwice = true}, std::move(request.keyId), hKey);
    if (!found.isOk()) {
        return found;
    }
    AttributeTemplate update(1);
    update.setBytes(kContainerNameAttribute, std::move(request.containerName));
    return script.session.call(trace, cryptoki::setAttributeValue)
        .in(L"hKeyObject", hKey)
        .run(script.session.handle(), hKey, update.entries(), update.count());
}

Result write(ScriptContext& script, const Trace& trace) {
    bool loggedIn = false;
    const Result login = requireAndLogin(script, trace, loggedIn);
    if (!login.isOk()) {
        return login;
    }
    const Result result = withOwnLogin(script.session, trace, loggedIn, [&] { return nameKey(script, trace); });
    return afterLogout(script.session, trace, loggedIn, result);
}

} // namespace

Result writeContainerName(ScriptContext& script) {
    return traced(L"writeContainerName", [&](const Trace& trace) { return write(script, trace); });
}

} // namespace plugin
