#include "scripts/common/ParameterErrors.h"

namespace plugin {

Result noParameters(const Trace& trace) {
    trace.failure(L": Bad parameter : pOpParams=NULL");
    return Result::badParameter();
}

Result notFound(const Trace& trace, const Zel::TString& id) {
    trace.failure(L": %ws parameter not found", id);
    return Result::badParameter();
}

Result badParameter(const Trace& trace, const Zel::TString& id, const Zel::TString& value) {
    trace.failure(L": Bad parameter %ws: %ws", id, value);
    return Result::badParameter();
}

} // namespace plugin
