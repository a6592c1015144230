#pragma once

#include "cryptoki/cryptoki.h"
#include "zel/TString.h"

/// One reader of the executor's cache: a slot of the module under the name that a host knows it by.
class CReader {
public:
    CReader(const Zel::TString& name, CK_SLOT_ID slotID) : m_tsName(name), m_ulSlotID(slotID) {}
    CReader(const CReader&) = default;
    CReader& operator=(const CReader&) = default;
    virtual ~CReader() = default;

    /// Upper-case hexadecimal text of the slot description without its trailing blanks.
    [[nodiscard]] const Zel::TString& name() const noexcept { return m_tsName; }
    [[nodiscard]] CK_SLOT_ID slotID() const noexcept { return m_ulSlotID; }

private:
    Zel::TString m_tsName;
    CK_SLOT_ID m_ulSlotID;
};
