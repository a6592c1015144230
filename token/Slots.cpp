#include "token/Slots.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <new>

#include "util/Conversions.h"

namespace plugin {

namespace {

/// The description as the bytes of a name: without trailing blanks (only spaces count), up to the first zero byte.
Zel::TString readerNameOf(const CK_SLOT_INFO& info) {
    std::size_t length = sizeof info.slotDescription;
    while (length > 0 && info.slotDescription[length - 1] == ' ') {
        --length;
    }
    const CK_UTF8CHAR* const end = std::find(info.slotDescription, info.slotDescription + length, CK_UTF8CHAR{0});
    return Binary2TStringHex(info.slotDescription, static_cast<std::size_t>(end - info.slotDescription));
}

void traceSlotInfo(const Trace& trace, const CK_SLOT_INFO& info) {
    if (!Trace::isEnabled(TraceLevel::Value)) {
        return;
    }
    trace.write(TraceLevel::Value, L": <-- slotInfo.slotDescription (ReaderName)=%ws",
                Utf82TString(info.slotDescription, sizeof info.slotDescription));
    trace.write(TraceLevel::Value, L": <-- slotInfo.manufacturerID=%ws",
                Utf82TString(info.manufacturerID, sizeof info.manufacturerID));
    trace.write(TraceLevel::Value, L": <-- slotInfo.flags=0x%x", info.flags);
    trace.write(TraceLevel::Value, L": <-- slotInfo.hardwareVersion=0x%x.%x", info.hardwareVersion.major,
                info.hardwareVersion.minor);
    trace.write(TraceLevel::Value, L": <-- slotInfo.firmwareVersion=0x%x.%x", info.firmwareVersion.major,
                info.firmwareVersion.minor);
}

/// A larger count is the module's fault, not a reader list.
constexpr CK_ULONG kMostSlots = 1U << 16U;

/// Null when memory is short or `count` is above kMostSlots.
std::unique_ptr<CK_SLOT_ID[]> allocateSlotIDs(CK_ULONG count) {
    return std::unique_ptr<CK_SLOT_ID[]>(count > kMostSlots ? nullptr : new (std::nothrow) CK_SLOT_ID[count]());
}

} // namespace

CK_RV Slots::getSlotVector() {
    return traced(L"getSlotVector", [this](const Trace& trace) { return readSlots(trace); });
}

CK_RV Slots::readSlots(const Trace& trace) {
    m_readers.clear();
    CK_ULONG ulSlotCount = 0;
    CK_RV rv = CryptokiCall(m_module, trace, cryptoki::getSlotList).run(CK_FALSE, nullptr, &ulSlotCount);
    if (rv != CKR_OK) {
        return rv;
    }
    trace.output(L"ulSlotCount", ulSlotCount);
    if (ulSlotCount == 0) {
        trace.failure(L"Slot count = 0");
        return CKR_OK;
    }
    const CK_ULONG room = ulSlotCount;
    const auto slotIDs = allocateSlotIDs(room);
    if (slotIDs == nullptr || !m_index.reserve(room)) {
        trace.failure(L"malloc error");
        return CKR_OK;
    }
    rv = CryptokiCall(m_module, trace, cryptoki::getSlotList)
             .in(L"pSlotList", reinterpret_cast<std::uintptr_t>(slotIDs.get()))
             .run(CK_FALSE, slotIDs.get(), &ulSlotCount);
    if (rv != CKR_OK) {
        return rv;
    }
    trace.output(L"ulSlotCount", ulSlotCount);
    // The second count may exceed the array: the module has written `room` entries at most.
    for (CK_ULONG i = 0; i < std::min(ulSlotCount, room) && rv == CKR_OK; ++i) {
        rv = readSlot(trace, i, slotIDs[i]);
    }
    return rv;
}

CK_RV Slots::readSlot(const Trace& trace, CK_ULONG index, CK_SLOT_ID slotID) {
    CK_SLOT_INFO info{};
    const CK_RV rv = CryptokiCall(m_module, trace, cryptoki::getSlotInfo)
                         .note(L": --> pSlotID[%d]=0x%x", index, slotID)
                         .run(slotID, &info);
    if (rv == CKR_OK) {
        traceSlotInfo(trace, info);
        m_readers.add(CReader(readerNameOf(info), slotID));
    }
    return rv;
}

CK_SLOT_ID Slots::getSlotIDFromReaderName(Zel::TString readerName) {
    const Trace trace(L"getSlotIDFromReaderName");
    trace.enter();
    const std::size_t position = readerName.find(m_tsReaderPrefix);
    if (position != Zel::TString::npos) {
        readerName = readerName.substr(position + m_tsReaderPrefix.length());
    }
    if (m_readers.isEmpty()) {
        // After a failure the list has no such name, which is all that matters here.
        static_cast<void>(getSlotVector());
    }
    const CReader* const reader = m_index.find(m_readers, readerName);
    const CK_SLOT_ID slotID = reader == nullptr ? kNoSlot : reader->slotID();
    trace.write(TraceLevel::Exit, L" :slotID=0x%02X", slotID);
    return slotID;
}

} // namespace plugin
