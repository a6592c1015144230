#include "scripts/Scripts.h"
#include "scripts/common/ParameterErrors.h"
#include "scripts/common/Parameters.h"
#include "scripts/common/UserLogin.h"
#include "scripts/object/ObjectWriters.h"
#include "util/Texts.h"

namespace plugin {

namespace {

/// An operation that names no kind of object writes nothing and succeeds: hosts probe with it.
Result writeByType(ScriptContext& script, const Trace& trace) {
    const Zel::Parameter* const type = firstNamed(*script.params, L"OBJ_TYPE");
    if (type == nullptr) {
        return CKR_OK;
    }
    const Zel::TString& value = type->getValue();
    if (equals(value, L"CERTIFICATE")) {
        return writeCertificate(script);
    }
    if (equals(value, L"PRIVATE_KEY")) {
        return writeKey(script, false);
    }
    if (equals(value, L"KEY_PAIR")) {
        return writeKey(script, true);
    }
    if (equals(value, L"CONTAINER_NAME")) {
        return writeContainerName(script);
    }
    // The trace says CONTAINER_NAME for every bad value: operators' tools look for this text.
    return badParameter(trace, L"CONTAINER_NAME", value);
}

} // namespace

Result scripts::writeData(ScriptContext& script, const Trace& trace) {
    bool loggedIn = false;
    const Result login = requireAndLogin(script, trace, loggedIn);
    if (!login.isOk()) {
        return login;
    }
    const Result result = withOwnLogin(script.session, trace, loggedIn, [&] { return writeByType(script, trace); });
    if (loggedIn) {
        // Only writing decides the result; a failed logout is only traced.
        static_cast<void>(logoutUntilDone(script.session, trace, LogoutTrace::AnnouncedOnce));
    }
    return result;
}

} // namespace plugin
