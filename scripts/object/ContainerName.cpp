#include "scripts/common/Faults.h"
#include "scripts/common/LoginFrame.h"
#include "scripts/common/ObjectSearch.h"
#include "scripts/object/Writers.h"
#include "util/Conversions.h"
#include "util/Texts.h"

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

/// "DEFAULT_CONTAINER" is known to hosts and has no effect here.
Result readRequest(const Script& script, const Trace& trace, Request& request) {
    for (std::uint32_t i = 0; i < script.params->size(); ++i) {
        const Zel::TString& id = script.params->at(i)->getId();
        const Zel::TString& value = script.params->at(i)->getValue();
        if (equals(id, L"KEYID")) {
            setBytes(request.keyId, TStringHex2Binary(value));
        } else if (equals(id, L"CONTAINER_NAME")) {
            SecretBuffer name = TStringHex2Binary(value);
            name.truncate(name.textLength());
            setBytes(request.containerName, std::move(name));
        }
    }
    if (request.keyId.isEmpty()) {
        return scripts::notFound(trace, L"KEYID");
    }
    return request.containerName.isEmpty() ? scripts::notFound(trace, L"CONTAINER_NAME") : Result(CKR_OK);
}

Result nameKey(const Script& script, const Trace& trace) {
    Request request;
    Result result = readRequest(script, trace, request);
    CK_OBJECT_HANDLE hKey = 0;
    if (result.isOk()) {
        result = scripts::findPrivateKey(script.session, trace, {.announcesFindTwice = true}, std::move(request.keyId),
                                         hKey);
    }
    if (!result.isOk()) {
        return result;
    }
    AttributeTemplate update(1);
    update.setBytes(kContainerNameAttribute, std::move(request.containerName));
    return script.session.call(trace, cryptoki::setAttributeValue)
        .in(L"hKeyObject", hKey)
        .run(script.session.handle(), hKey, update.entries(), update.count());
}

Result write(Script& script, const Trace& trace) {
    bool loggedIn = false;
    const Result login = scripts::requireAndLogin(script, trace, loggedIn);
    if (!login.isOk()) {
        return login;
    }
    const Result result =
        scripts::withOwnLogin(script.session, trace, loggedIn, [&] { return nameKey(script, trace); });
    return scripts::afterLogout(script.session, trace, loggedIn, result);
}

} // namespace

Result scripts::writeContainerName(Script& script) {
    return traced(L"writeContainerName", [&](const Trace& trace) { return write(script, trace); });
}
