#include <algorithm>

#include "scripts/Scripts.h"
#include "scripts/common/ParameterErrors.h"
#include "util/Conversions.h"
#include "util/Elements.h"
#include "util/Texts.h"

namespace plugin {

// "init" and "recycle" are one procedure under two sets of names.

namespace {

struct Names {
    const wchar_t* keyId;
    const wchar_t* key;
};

constexpr Names kInit{L"INIT_KEYID", L"INIT_KEY"};
constexpr Names kRecycle{L"RECYCLE_KEYID", L"RECYCLE_KEY"};

constexpr std::size_t kLabelLength = 32;

struct Request {
    bool isKeyIdGiven = false;
    SecretBuffer key;
    SecretBuffer label{kLabelLength};
};

/// Pads with the bytes 0x20 0x00, not with single blanks: cards issued so far carry such labels.
void writeLabel(const Zel::TString& value, SecretBuffer& label) {
    for (std::size_t i = 0; i < kLabelLength; ++i) {
        label.data()[i] = i % 2 == 0 ? ' ' : 0;
    }
    const SecretBuffer bytes = TStringHex2Binary(value);
    std::copy_n(bytes.data(), std::min(bytes.size(), kLabelLength), label.data());
}

Result readRequest(const ScriptContext& script, const Trace& trace, const Names& names, Request& request) {
    for (const Zel::Parameter& parameter : elements(script.params)) {
        const Zel::TString& id = parameter.getId();
        const Zel::TString& value = parameter.getValue();
        if (equals(id, names.keyId)) {
            request.isKeyIdGiven = true;
            if (!equals(value, L"SO")) {
                return badParameter(trace, names.keyId, value);
            }
        } else if (equals(id, names.key)) {
            request.key = TStringHex2Binary(value);
            if (request.key.isEmpty()) {
                return notFound(trace, names.key);
            }
        } else if (equals(id, L"LABEL")) {
            writeLabel(value, request.label);
        }
    }
    return request.isKeyIdGiven ? Result(CKR_OK) : notFound(trace, names.keyId);
}

CK_RV initToken(const ScriptContext& script, const Trace& trace, Request& request) {
    CryptokiCall call(script.session.module(), trace, cryptoki::initToken);
    call.in(L"SlotID", script.session.slotID());
    if (Trace::isEnabled(TraceLevel::Value)) {
        call.note(L": --> Label=%ws", Utf82TString(request.label.data(), kLabelLength));
    }
    return call.run(script.session.slotID(), request.key.data(), request.key.size(), request.label.data());
}

Result run(ScriptContext& script, const Trace& trace, const Names& names) {
    if (script.params == nullptr) {
        return noParameters(trace);
    }
    Request request;
    const Result read = readRequest(script, trace, names, request);
    if (!read.isOk()) {
        return read;
    }
    // A token with an open session cannot be initialised.
    const CK_RV rv = script.session.closeSession();
    if (rv != CKR_OK) {
        trace.failed(L"closeSession", rv);
        return rv;
    }
    return initToken(script, trace, request);
}

} // namespace

Result scripts::init(ScriptContext& script, const Trace& trace) {
    return run(script, trace, kInit);
}

Result scripts::recycle(ScriptContext& script, const Trace& trace) {
    return run(script, trace, kRecycle);
}

} // namespace plugin
