#include "client/AccessValues.h"

#include <new>
#include <utility>

#include "client/Failure.h"
#include "util/Conversions.h"
#include "util/Elements.h"
#include "util/Texts.h"
#include "util/Trace.h"

namespace plugin {

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
    const Trace trace(L"readParameters");
    std::uint32_t index = 0;
    for (const Zel::Parameter& parameter : elements(params)) {
        trace.write(TraceLevel::Value, L": accessParameters %d, %ws", index++, parameter.getId());
        readParameter(parameter);
    }
}

void AccessValues::readParameter(const Zel::Parameter& parameter) {
    const Zel::TString& id = parameter.getId();
    const auto give = [&parameter](Pin& pin) {
        const Zel::TString text = getValueFromEncoding(parameter);
        pin.given = {TStringHex2Binary(text), text.empty(), CKU_USER};
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
        m_tsDataToSign = getValueFromEncoding(parameter);
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

void AccessValues::commitPins(bool forOperation) noexcept {
    for (Pin* pin : {&m_pin, &m_oldPin, &m_newPin}) {
        pin->commit(m_userType, forOperation);
    }
}

void AccessValues::forgetGivenPins() noexcept {
    for (Pin* pin : {&m_pin, &m_oldPin, &m_newPin}) {
        pin->given = {};
        pin->isGiven = false;
    }
}

void AccessValues::Pin::commit(CK_USER_TYPE role, bool forOperation) noexcept {
    if (!isGiven) {
        return;
    }
    hasOfficers = forOperation && role == CKU_SO;
    given.role = role;
    (hasOfficers ? officers : stored) = std::move(given);
    isGiven = false;
}

void AccessValues::endOperation() noexcept {
    for (Pin* pin : {&m_pin, &m_oldPin, &m_newPin}) {
        pin->officers = {};
        pin->hasOfficers = false;
    }
}

std::span<const std::uint8_t> AccessValues::userPin() const {
    return m_pin.stored.role == CKU_USER ? m_pin.stored.bytes.bytes() : std::span<const std::uint8_t>();
}

void AccessValues::storeUserPin(SecretBuffer pin) noexcept {
    m_pin.stored = {std::move(pin), false, CKU_USER};
    m_userType = CKU_USER;
}

} // namespace plugin
