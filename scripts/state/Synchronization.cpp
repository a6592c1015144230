#include "scripts/Scripts.h"

// Markers for the host alone: nothing is done on the token. The trace spells the names its own way.

void scripts::beginSynchronization(Script& script) {
    const Trace trace(L"beginSynchronisation");
    script.outputs.beginError();
    script.outputs.setError(CKR_OK);
}

void scripts::endSynchronization(Script& script) {
    const Trace trace(L"endSynchronisation");
    script.outputs.beginError();
    script.outputs.setError(CKR_OK);
}
