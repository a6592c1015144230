#include "scripts/Scripts.h"
#include "scripts/common/Faults.h"
#include "scripts/common/Roles.h"
#include "util/Conversions.h"
#include "util/Texts.h"

// Two ways to a new user PIN under the security officer's authority: the first one, and one in place of a blocked one.

namespace {

/// What the two scripts read of their operation. Only the user PIN can be set, and only the officer can set it.
struct Request {
    bool isPinIdGiven = false;
    bool isKeyIdGiven = false;
    bool isUnlockTypeGiven = false;
    SecretBuffer key;
    SecretBuffer pin;
};

/// A parameter that may have one value only.
Result require(const Trace& trace, const Zel::Parameter& parameter, const wchar_t* value) {
    return equals(parameter.getValue(), value) ? Result(CKR_OK)
                                               : scripts::badParameter(trace, parameter.getId(), parameter.getValue());
}

/// The officer's key: none when it is empty; one that is no hexadecimal text is malformed, and its value is not told.
Result readKey(const Trace& trace, const Zel::Parameter& parameter, SecretBuffer& key) {
    key = TStringHex2Binary(parameter.getValue());
    if (key.isNull() && !parameter.getValue().empty()) {
        trace.failure(L": Bad parameter %ws", parameter.getId());
        return Result::badParameter();
    }
    return CKR_OK;
}

/// No list at all, or an empty one: told apart, for a script without its parameters is a host's mistake.
Result requireList(const Script& script, const Trace& trace, const wchar_t* firstRequired) {
    if (script.params == nullptr) {
        return scripts::noParameters(trace);
    }
    return script.params->isEmpty() ? scripts::notFound(trace, firstRequired) : Result(CKR_OK);
}

CK_RV loginAsOfficer(const Script& script, const Trace& trace, SecretBuffer& key) {
    return script.session.call(trace, cryptoki::login)
        .note(L": --> CKU_SO")
        .runQuietly(script.session.handle(), CKU_SO, key.data(), key.size());
}

CK_RV initPin(Script& script, const Trace& trace, SecretBuffer& pin) {
    SecretBuffer given = SecretBuffer::copyOf(pin.bytes()); // for a module may write into what it is given
    const CK_RV rv =
        script.session.call(trace, cryptoki::initPIN).run(script.session.handle(), given.data(), given.size());
    if (rv == CKR_OK) {
        script.access.storeUserPin(std::move(pin));
    }
    return rv;
}

/// Sets the PIN and ends the login that was made for it. After a failure the officer stays logged in.
CK_RV initPinAndLogout(Script& script, const Trace& trace, Request& request) {
    const CK_RV rv = initPin(script, trace, request.pin);
    if (rv != CKR_OK || request.key.isEmpty()) {
        return rv;
    }
    return script.session.call(trace, cryptoki::logout).run(script.session.handle());
}

// First PIN

Result readForInit(const Script& script, const Trace& trace, Request& request) {
    for (std::uint32_t i = 0; i < script.params->size(); ++i) {
        const Zel::Parameter& parameter = *script.params->at(i);
        const Zel::TString& id = parameter.getId();
        Result result = CKR_OK;
        if (equals(id, L"INIT_KEYID")) {
            request.isKeyIdGiven = true;
            result = require(trace, parameter, L"SO");
        } else if (equals(id, L"INIT_KEY")) {
            result = readKey(trace, parameter, request.key);
        } else if (equals(id, L"PINID")) {
            request.isPinIdGiven = true;
            result = require(trace, parameter, L"USER");
        } else if (equals(id, L"PIN")) {
            request.pin = TStringHex2Binary(parameter.getValue());
        }
        if (!result.isOk()) {
            return result;
        }
    }
    return CKR_OK;
}

Result checkForInit(const Script& script, const Trace& trace, Request& request) {
    if (!request.isKeyIdGiven) {
        return scripts::notFound(trace, L"INIT_KEYID");
    }
    if (!request.isPinIdGiven) {
        return scripts::notFound(trace, L"PINID");
    }
    if (request.pin.isEmpty()) {
        request.pin = SecretBuffer::copyOf(script.access.userPin());
    }
    return request.pin.isEmpty() ? scripts::notFound(trace, L"PIN") : Result(CKR_OK);
}

/// Without a key nothing is opened: the login of an earlier script is relied on.
CK_RV beginInit(Script& script, const Trace& trace, SecretBuffer& key) {
    if (key.isEmpty()) {
        return CKR_OK;
    }
    CK_RV rv = script.session.openSession(CKF_RW_SESSION, false);
    if (rv != CKR_OK) {
        trace.failed(cryptoki::openSession.name, rv);
        return rv;
    }
    rv = loginAsOfficer(script, trace, key);
    if (rv != CKR_OK) {
        trace.failed(cryptoki::login.name, rv);
    }
    return rv;
}

Result runInit(Script& script, const Trace& trace) {
    Request request;
    Result result = requireList(script, trace, L"INIT_KEYID");
    if (result.isOk()) {
        result = readForInit(script, trace, request);
    }
    if (result.isOk()) {
        result = checkForInit(script, trace, request);
    }
    if (result.isOk()) {
        result = beginInit(script, trace, request.key);
    }
    return result.isOk() ? Result(initPinAndLogout(script, trace, request)) : result;
}

// Unlocking

Result readForUnlock(const Script& script, const Trace& trace, Request& request) {
    for (std::uint32_t i = 0; i < script.params->size(); ++i) {
        const Zel::Parameter& parameter = *script.params->at(i);
        const Zel::TString& id = parameter.getId();
        Result result = CKR_OK;
        if (equals(id, L"PINID")) {
            request.isPinIdGiven = true;
            result = require(trace, parameter, L"USER");
        } else if (equals(id, L"PIN")) {
            // The first that says something is the one.
            if (request.pin.isEmpty()) {
                request.pin = TStringHex2Binary(parameter.getValue());
            }
        } else if (equals(id, L"UNLOCK_TYPE")) {
            request.isUnlockTypeGiven = true;
            result = require(trace, parameter, L"STATIC");
        } else if (equals(id, L"UNLOCK_KEYID")) {
            result = require(trace, parameter, L"SO");
        } else if (equals(id, L"UNLOCK_KEY")) {
            result = readKey(trace, parameter, request.key);
        }
        if (!result.isOk()) {
            return result;
        }
    }
    return CKR_OK;
}

Result checkForUnlock(const Trace& trace, const Request& request) {
    if (!request.isUnlockTypeGiven) {
        return scripts::notFound(trace, L"UNLOCK_TYPE");
    }
    if (!request.isPinIdGiven) {
        return scripts::notFound(trace, L"PINID");
    }
    // Says NEW_PIN of the parameter "PIN": operators' tools look for this text.
    return request.pin.isEmpty() ? scripts::notFound(trace, L"NEW_PIN") : Result(CKR_OK);
}

void reportRefusedKey(Script& script, const Trace& trace, CK_RV refusal) {
    if (refusal == CKR_PIN_INCORRECT || refusal == CKR_PIN_INVALID) {
        bool lastTry = false;
        const CK_RV rv = script.session.isLastTry(CKF_SO_PIN_FINAL_TRY, lastTry);
        if (rv != CKR_OK) {
            trace.failed(L"isLastTry", rv);
            return;
        }
        if (lastTry) {
            script.outputs.push(
                Zel::Parameter(Zel::ParameterEncoding::Plain, L"LEFTUNLOCKTRY", Zel::ParameterType::Number, L"1"));
        }
    }
    trace.failed(cryptoki::login.name, refusal);
}

CK_RV beginUnlock(Script& script, const Trace& trace, SecretBuffer& key) {
    CK_RV rv = script.session.openSession(CKF_RW_SESSION, false);
    if (rv != CKR_OK) {
        trace.failed(L"openSession", rv);
        return rv;
    }
    if (key.isEmpty()) {
        return CKR_OK;
    }
    rv = loginAsOfficer(script, trace, key);
    if (rv != CKR_OK) {
        reportRefusedKey(script, trace, rv);
    }
    return rv;
}

Result runUnlock(Script& script, const Trace& trace) {
    Request request;
    Result result = requireList(script, trace, L"UNLOCK_TYPE");
    if (result.isOk()) {
        result = readForUnlock(script, trace, request);
    }
    if (result.isOk()) {
        result = checkForUnlock(trace, request);
    }
    if (result.isOk()) {
        result = beginUnlock(script, trace, request.key);
    }
    return result.isOk() ? Result(initPinAndLogout(script, trace, request)) : result;
}

} // namespace

Result scripts::initAuthenticator(Script& script, const Trace& trace) {
    return runInit(script, trace);
}

Result scripts::unlockAuthenticator(Script& script, const Trace& trace) {
    return runUnlock(script, trace);
}
