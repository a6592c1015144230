#include "scripts/common/Keywords.h"
#include "scripts/common/ParameterErrors.h"
#include "scripts/object/ObjectWriters.h"
#include "token/ObjectSearch.h"
#include "util/Conversions.h"
#include "util/Elements.h"
#include "util/Texts.h"

namespace plugin {

namespace {

struct Request {
    bool isX509 = false;
    SecretBuffer certificate;
};

Result readRequest(const ScriptContext& script, const Trace& trace, Request& request) {
    for (const Zel::Parameter& parameter : elements(script.params)) {
        const Zel::TString& id = parameter.getId();
        const Zel::TString& value = parameter.getValue();
        if (equals(id, L"CERT_TYPE")) {
            if (!equals(value, L"X_509")) {
                return badParameter(trace, id, value);
            }
            request.isX509 = true;
        } else if (equals(id, L"DATA")) {
            SecretBuffer decoded = TStringB642Binary(value);
            if (!decoded.isEmpty()) {
                request.certificate = std::move(decoded);
            }
        }
    }
    if (!request.isX509) {
        return notFound(trace, L"CERT_TYPE");
    }
    return request.certificate.isEmpty() ? notFound(trace, L"DATA") : Result(CKR_OK);
}

Result create(const ScriptContext& script, const Trace& trace, AttributeTemplate& certificate) {
    auto call = script.session.call(trace, cryptoki::createObject);
    call.in(L"ulAttCount", certificate.count());
    traceEntryTypes(trace, L"Template", certificate);
    CK_OBJECT_HANDLE hObject = 0;
    const CK_RV rv = call.run(script.session.handle(), certificate.entries(), certificate.count(), &hObject);
    if (rv == CKR_OK) {
        trace.output(L"hObject", hObject);
    }
    return rv;
}

Result write(ScriptContext& script, const Trace& trace) {
    Request request;
    if (const Result read = readRequest(script, trace, request); !read.isOk()) {
        return read;
    }
    AttributeTemplate certificate(12);
    certificate.setNumber(CKA_CLASS, CKO_CERTIFICATE);
    certificate.setBoolean(CKA_TOKEN, true);
    certificate.setBoolean(CKA_PRIVATE, false);
    certificate.setNumber(CKA_CERTIFICATE_TYPE, CKC_X_509);
    certificate.setBytes(CKA_VALUE, std::move(request.certificate));
    certificate.endFixed();
    const Result applied =
        applyKeywords(trace, *script.params, certificateKeywords(), UnreadableLabel::Skipped, &certificate);
    return applied.isOk() ? create(script, trace, certificate) : applied;
}

} // namespace

Result writeCertificate(ScriptContext& script) {
    return traced(L"writeCertificate", [&](const Trace& trace) { return write(script, trace); });
}

} // namespace plugin
