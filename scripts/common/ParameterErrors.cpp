#include "scripts/common/ParameterErrors.h"

Result scripts::noParameters(const Trace& trace) {
    trace.failure(L": Bad parameter : pOpParams=NULL");
    return Result::badParameter();
}

Result scripts::notFound(const Trace& trace, const Zel::TString& id) {
    trace.failure(L": %ws parameter not found", id);
    return Result::badParameter();
}

Result scripts::badParameter(const Trace& trace, const Zel::TString& id, const Zel::TString& value) {
    trace.failure(L": Bad parameter %ws: %ws", id, value);
    return Result::badParameter();
}
