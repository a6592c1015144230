#include <algorithm>
#include <iterator>

#include "scripts/Scripts.h"
#include "util/Conversions.h"
#include "util/Elements.h"

namespace plugin {

namespace {

/// Prefix and name of every reader as hexadecimal text, joined by the hexadecimal text of a slash.
Zel::TString readersText(const Trace& trace, const Slots& slots) {
    Zel::TString text;
    unsigned int listed = 0;
    for (const CReader& reader : elements(slots.readers())) {
        const Zel::TString& name = reader.name();
        if (name.empty()) {
            trace.write(TraceLevel::Value, L": skipping blank reader");
            continue;
        }
        if (listed++ > 0) {
            text.append(L"2F");
        }
        text.append(slots.readerPrefix()).append(name);
    }
    trace.write(TraceLevel::Value, L": listing %d slots", listed);
    return text;
}

/// A token's field as stored, blanks included, up to its first zero byte.
template <std::size_t Size>
Zel::TString hexOfField(const CK_UTF8CHAR (&field)[Size]) {
    const auto end = std::find(std::begin(field), std::end(field), CK_UTF8CHAR{0});
    return Binary2TStringHex(field, static_cast<std::size_t>(end - std::begin(field)));
}

/// Sets `name` to the reader that the operation names, or to the host's current one when the operation has no
/// parameters. Returns false when no parameter is a reader name.
bool readerNameOf(const ScriptContext& script, Zel::TString& name) {
    if (script.params == nullptr || script.params->isEmpty()) {
        name = script.access.currentReader();
        return true;
    }
    for (const Zel::Parameter& parameter : elements(script.params)) {
        if (parameter.getId().compareIgnoreCase(L"READERNAME") == 0) {
            name = getValueFromEncoding(parameter);
            return true;
        }
    }
    return false;
}

void traceTokenInfo(const Trace& trace, const CK_TOKEN_INFO& info) {
    if (!Trace::isEnabled(TraceLevel::Call)) {
        return;
    }
    trace.write(TraceLevel::Call, L": <-- tokenInfo.label=%ws", Utf82TString(info.label, sizeof info.label));
    trace.write(TraceLevel::Call, L": <-- tokenInfo.model=%ws", Utf82TString(info.model, sizeof info.model));
    trace.write(TraceLevel::Call, L": <-- tokenInfo.serialNumber=%ws",
                Utf82TString(info.serialNumber, sizeof info.serialNumber));
}

} // namespace

Result scripts::getReaderList(ScriptContext& script, const Trace& trace) {
    const CK_RV rv = script.slots.getSlotVector();
    if (rv != CKR_OK) {
        trace.failedTight(L"getSlotVector", rv);
        return rv;
    }
    script.outputs.push(makeParameter(L"READERS", readersText(trace, script.slots)));
    return CKR_OK;
}

Result scripts::getPlatformIdentifiers(ScriptContext& script, const Trace& trace) {
    Zel::TString readerName;
    if (!readerNameOf(script, readerName)) {
        trace.failure(L": READERNAME parameter not found");
        return Result::badParameter();
    }
    // Set also for an unknown reader: later scripts then have no slot, and never the slot of another reader.
    script.session.setSlotID(script.slots.getSlotIDFromReaderName(readerName));
    CK_TOKEN_INFO info{};
    const CK_RV rv = CryptokiCall(script.session.module(), trace, cryptoki::getTokenInfo, kSpaced)
                         .in(L"SlotID", script.session.slotID())
                         .run(script.session.slotID(), &info);
    if (rv != CKR_OK) {
        return rv;
    }
    traceTokenInfo(trace, info);
    script.outputs.push(makeHexParameter(L"SMOTYPE", "P11GENERIC"));
    script.outputs.push(makeParameter(L"SMOID", hexOfField(info.serialNumber)));
    script.outputs.push(makeParameter(L"LABEL", hexOfField(info.label)));
    return CKR_OK;
}

} // namespace plugin
