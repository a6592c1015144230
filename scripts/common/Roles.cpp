#include "scripts/common/Roles.h"

#include "util/Texts.h"

namespace plugin {

std::optional<CK_USER_TYPE> userTypeOf(const Zel::TString& value) {
    if (equals(value, L"USER")) {
        return CKU_USER;
    }
    if (equals(value, L"SO")) {
        return CKU_SO;
    }
    return std::nullopt;
}

bool takeStoredPin(const Trace& trace, const StoredPin& stored, CK_USER_TYPE role, bool isRoleGiven,
                   SecretBuffer& pin) {
    if (role != stored.role && (isRoleGiven || !stored.isEmpty)) {
        trace.failure(L": the PIN is provided in accessParam (not in a script parameter) but script PINID (0x%02x) "
                      L"different from runtime PINID(0x%02x)",
                      role, stored.role);
        return false;
    }
    pin = SecretBuffer::copyOf(stored.bytes.bytes());
    return true;
}

CK_RV login(const ScriptContext& script, const Trace& trace, CK_USER_TYPE role, SecretBuffer& pin) {
    const CK_SESSION_HANDLE hSession = script.session.handle();
    return script.session.call(trace, cryptoki::login, kUnreported)
        .in(L"UserType", role)
        .run(hSession, role, pin.data(), pin.size());
}

} // namespace plugin
