#include "scripts/Scripts.h"

namespace plugin {

// Markers for the host: they do nothing on the token.

Result scripts::beginSynchronization(ScriptContext& /*script*/, const Trace& /*trace*/) {
    return CKR_OK;
}

Result scripts::endSynchronization(ScriptContext& /*script*/, const Trace& /*trace*/) {
    return CKR_OK;
}

} // namespace plugin
