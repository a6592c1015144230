#include "scripts/Scripts.h"

namespace plugin {

// Markers for the host alone: nothing is done on the token.

Result scripts::beginSynchronization(ScriptContext& /*script*/, const Trace& /*trace*/) {
    return CKR_OK;
}

Result scripts::endSynchronization(ScriptContext& /*script*/, const Trace& /*trace*/) {
    return CKR_OK;
}

} // namespace plugin
