#include "client/AccessValues.h"

#include <new>
#include <utility>

#include "client/Failure.h"
#include "util/Conversions.h"
#include "util/Trace.h"

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
    const Trace trace(L"readParameters", Trace::Lines::None);
    for (std::uint32_t i = 0; i < params->size(); ++i) {
        const Zel::Parameter& parameter = *params->at(i);
        trace.write(TraceLevel::Value, L": accessParameters %d, %ws", i, parameter.getId());
        readParameter(parameter);
    }
}

void AccessValues::readParameter(const Zel::Parameter& parameter) {
    const auto isNamed = [&id = parameter.getId()](const wchar_t* name) { return id.compare(name) == 0; };
    const auto give = [&parameter](Pin& pin) {
        pin.given = getValueFromEncoding(parameter);
        pin.isGiven = true;
    };
    if (isNamed(L"readerName")) {
        m_tsCurrentReader = getValueFromEncoding(parameter);
    } else if (isNamed(L"PIN")) {
        give(m_pin);
    } else if (isNamed(L"OLD_PIN")) {
        give(m_oldPin);
    } else if (isNamed(L"NEW_PIN")) {
        give(m_newPin);
    } else if (isNamed(L"PINID")) {
        readUserType(parameter.getValue());
    } else if (isNamed(L"AUTH_TYPE")) {
        if (parameter.getValue().compare(L"STATIC") == 0) {
            m_authType = kAuthTypeStatic;
        }
    } else if (isNamed(L"ALGOID")) {
        m_tsAlgoId = getValueFromEncoding(parameter);
    } else if (isNamed(L"KEYID")) {
        m_tsKeyId = getValueFromEncoding(parameter);
    } else if (isNamed(L"DATA")) {
        m_tsDataToSign = getValueFromEncoding(parameter);
    }
}

void AccessValues::readUserType(const Zel::TString& value) {
    if (value.compare(L"SO") == 0) {
        m_userType = CKU_SO;
    } else if (value.compare(L"USER") == 0) {
        m_userType = CKU_USER;
    } else {
        const Trace trace(L"readParameters", Trace::Lines::None);
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
