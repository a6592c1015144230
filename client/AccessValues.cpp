#include "client/AccessValues.h"

#include <new>
#include <utility>

#include "client/Failure.h"
#include "util/Conversions.h"
#include "util/Texts.h"
#include "util/Trace.h"

SecretBuffer StoredData::bytes() const {
    return isBase64 ? TStringB642Binary(value) : TStringHex2Binary(value);
}

Zel::TString StoredData::internalForm() const {
    if (!isBase64) {
        return value;
    }
    const SecretBuffer decoded = bytes();
    return Binary2TStringHex(decoded.data(), decoded.size());
}

void AccessValues::readForInitialize(const Zel::Vector<Zel::Parameter>* access,
                                     const Zel::Vector<Zel::Parameter>* runtime) {
    try {
        readParameters(access);
        readParameters(runtime);
    } catch (const std::bad_alloc&) {
        forgetGivenPins();
        throw;
    } catch (...) {
        commitPins(false);
        throw;
    }
    commitPins(false);
}

void AccessValues::readForOperation(const Zel::Vector<Zel::Parameter>* params) {
    readAndCommit(params);
    m_isOperationRead = true;
}

void AccessValues::readForScript(const Zel::Vector<Zel::Parameter>* params) {
    if (!m_isOperationRead || Trace::isAnyoneListening()) {
        readAndCommit(params);
    }
}

void AccessValues::readAndCommit(const Zel::Vector<Zel::Parameter>* params) {
    try {
        readParameters(params);
    } catch (const std::bad_alloc&) {
        forgetGivenPins();
        throw;
    } catch (...) {
        commitPins(true);
        throw;
    }
    commitPins(true);
}

void AccessValues::readParameters(const Zel::Vector<Zel::Parameter>* params) {
    if (params == nullptr) {
        return;
    }
    const Trace trace(L"readParameters");
    for (std::uint32_t i = 0; i < params->size(); ++i) {
        const Zel::Parameter& parameter = *params->at(i);
        trace.write(TraceLevel::Value, L": accessParameters %d, %ws", i, parameter.getId());
        readParameter(parameter);
    }
}

void AccessValues::readParameter(const Zel::Parameter& parameter) {
    const Zel::TString& id = parameter.getId();
    const auto give = [&parameter](Pin& pin) {
        pin.given = getValueFromEncoding(parameter);
        pin.isGiven = true;
    };
    if (equals(id, L"readerName")) {
        m_tsCurrentReader = getValueFromEncoding(parameter);
    } else if (equals(id, L"PIN")) {
        give(m_pin);
    } else if (equals(id, L"OLD_PIN")) {
        give(m_oldPin);
    } else if (equals(id, L"NEW_PIN")) {
        give(m_newPin);
    } else if (equals(id, L"PINID")) {
        readUserType(parameter.getValue());
    } else if (equals(id, L"AUTH_TYPE")) {
        if (equals(parameter.getValue(), L"STATIC")) {
            m_authType = kAuthTypeStatic;
        }
    } else if (equals(id, L"ALGOID")) {
        m_tsAlgoId = getValueFromEncoding(parameter);
    } else if (equals(id, L"KEYID")) {
        m_tsKeyId = getValueFromEncoding(parameter);
    } else if (equals(id, L"DATA")) {
        const bool isBase64 = parameter.getEncodingEnum() == Zel::ParameterEncoding::Base64;
        m_tsDataToSign = {isBase64 ? parameter.getValue() : getValueFromEncoding(parameter), isBase64};
    }
}

void AccessValues::readUserType(const Zel::TString& value) {
    if (equals(value, L"SO")) {
        m_userType = CKU_SO;
    } else if (equals(value, L"USER")) {
        m_userType = CKU_USER;
    } else {
        const Trace trace(L"readParameters");
        trace.failure(L": Bad parameter PINID: %ws", value);
        throwFailure(Zel::TString().format(L"Bad parameter PINID: %ws", value.c_str()));
    }
}

void AccessValues::commitPins(bool forOperation) {
    for (Pin* pin : {&m_pin, &m_oldPin, &m_newPin}) {
        pin->commit(m_userType, forOperation);
    }
}

void AccessValues::forgetGivenPins() noexcept {
    for (Pin* pin : {&m_pin, &m_oldPin, &m_newPin}) {
        pin->given.clear();
        pin->isGiven = false;
    }
}

void AccessValues::Pin::commit(CK_USER_TYPE role, bool forOperation) {
    if (!isGiven) {
        return;
    }
    hasOfficers = forOperation && role == CKU_SO;
    StoredPin& target = hasOfficers ? officers : stored;
    // Moved, so that this cannot fail and no PIN is left behind.
    target.value = std::move(given);
    target.role = role;
    isGiven = false;
}

void AccessValues::Pin::endOperation() {
    officers.value.clear();
    hasOfficers = false;
}

void AccessValues::endOperation() {
    m_isOperationRead = false;
    for (Pin* pin : {&m_pin, &m_oldPin, &m_newPin}) {
        pin->endOperation();
    }
}

const Zel::TString& AccessValues::userPin() const {
    static const Zel::TString none;
    return m_pin.stored.role == CKU_USER ? m_pin.stored.value : none;
}

void AccessValues::storeUserPin(Zel::TString pin) noexcept {
    m_pin.stored.value = std::move(pin);
    m_pin.stored.role = CKU_USER;
    m_userType = CKU_USER;
}
