#pragma once

#include "token/CryptokiCall.h"
#include "token/ReaderIndex.h"
#include "util/CReader.h"
#include "zel/TString.h"
#include "zel/Vector.h"

namespace plugin {

/// The module's slots by reader name: the slot description as upper-case hexadecimal text. The list is a cache, filled
/// on first use and replaced only by getSlotVector.
class Slots {
public:
    /// `readerPrefix`: hexadecimal text that hosts put before a reader name; may be empty.
    Slots(const Cryptoki& module, const Zel::TString& readerPrefix)
        : m_module(module), m_tsReaderPrefix(readerPrefix) {}

    /// Reads the list anew. CKR_OK with an empty list when there is no slot, no memory, or more than 65,536 slots; on
    /// the failure of one slot the readers before it stay in the list.
    [[nodiscard]] CK_RV getSlotVector();
    /// The slot of the reader with this name; `kNoSlot` for an unknown one. The comparison ignores case and the part of
    /// the name up to the end of the reader prefix. Of several readers with one name the first counts.
    [[nodiscard]] CK_SLOT_ID getSlotIDFromReaderName(Zel::TString readerName);

    [[nodiscard]] const Zel::Vector<CReader>& readers() const { return m_readers; }
    [[nodiscard]] const Zel::TString& readerPrefix() const { return m_tsReaderPrefix; }

private:
    [[nodiscard]] CK_RV readSlots(const Trace& trace);
    [[nodiscard]] CK_RV readSlot(const Trace& trace, CK_ULONG index, CK_SLOT_ID slotID);

    const Cryptoki& m_module;
    Zel::TString m_tsReaderPrefix;
    Zel::Vector<CReader> m_readers;
    ReaderIndex m_index;
};

} // namespace plugin
