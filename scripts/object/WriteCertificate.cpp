#include "scripts/common/Faults.h"
#include "scripts/common/Keywords.h"
#include "scripts/common/ObjectSearch.h"
#include "scripts/object/Writers.h"
#include "util/Conversions.h"
#include "util/Texts.h"

namespace {

struct Request {
    bool isX509 = false;
    SecretBuffer certificate;
};

Result readRequest(const Script& script, const Trace& trace, Request& request) {
    for (std::uint32_t i = 0; i < script.params->size(); ++i) {
        const Zel::TString& id = script.params->at(i)->getId();
        const Zel::TString& value = script.params->at(i)->getValue();
        if (equals(id, L"CERT_TYPE")) {
            if (!equals(value, L"X_509")) {
                return scripts::badParameter(trace, id, value);
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
        return scripts::notFound(trace, L"CERT_TYPE");
    }
    return request.certificate.isEmpty() ? scripts::notFound(trace, L"DATA") : Result(CKR_OK);
}

Result create(const Script& script, const Trace& trace, AttributeTemplate& certificate) {
    auto call = script.session.call(trace, cryptoki::createObject);
    call.in(L"ulAttCount", certificate.count());
    scripts::traceEntryTypes(trace, L"Template", certificate);
    CK_OBJECT_HANDLE hObject = 0;
    const CK_RV rv = call.run(script.session.handle(), certificate.entries(), certificate.count(), &hObject);
    if (rv == CKR_OK) {
        trace.output(L"hObject", hObject);
    }
    return rv;
}

Result write(Script& script, const Trace& trace) {
    if (script.params == nullptr) {
        return scripts::noParameters(trace);
    }
    Request request;
    const Result read = readRequest(script, trace, request);
    if (!read.isOk()) {
        return read;
    }
    AttributeTemplate certificate(12);
    certificate.setNumber(CKA_CLASS, CKO_CERTIFICATE);
    certificate.setBoolean(CKA_TOKEN, true);
    certificate.setBoolean(CKA_PRIVATE, false);
    certificate.setNumber(CKA_CERTIFICATE_TYPE, CKC_X_509);
    certificate.setBytes(CKA_VALUE, std::move(request.certificate));
    certificate.closeHead();
    const Result applied = scripts::applyKeywords(trace, *script.params, scripts::certificateKeywords(),
                                                  scripts::UnreadableLabel::Skipped, &certificate);
    return applied.isOk() ? create(script, trace, certificate) : applied;
}

} // namespace

Result scripts::writeCertificate(Script& script) {
    return traced(L"writeCertificate", [&](const Trace& trace) { return write(script, trace); });
}
