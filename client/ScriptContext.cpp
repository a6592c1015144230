#include "client/ScriptContext.h"

#include "util/Elements.h"

void plugin::traceOperationParameters(const Trace& trace, const Zel::Vector<Zel::Parameter>& params) {
    if (!Trace::isEnabled(TraceLevel::Value)) {
        return;
    }
    std::uint32_t index = 0;
    for (const Zel::Parameter& parameter : elements(params)) {
        trace.write(TraceLevel::Value, L": --> Operation parameter %d, %ws", index++, parameter.getId());
    }
}
