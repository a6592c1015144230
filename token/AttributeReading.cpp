#include "token/AttributeReading.h"

#include <array>

namespace plugin {

namespace {

constexpr std::size_t kMostAttributes = 2;

using Entries = std::array<CK_ATTRIBUTE, kMostAttributes>;

/// One traced call of C_GetAttributeValue.
CK_RV ask(const Session& session, const Trace& trace, CK_OBJECT_HANDLE hObject,
          std::span<const ReadAttribute> attributes, Entries& entries) {
    auto call = session.call(trace, cryptoki::getAttributeValue);
    call.in(L"hObject", hObject);
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        if (attributes.size() == 1) {
            call.in(L"Template.type", attributes[i].type);
        } else {
            call.note(L": --> Template[%d].type=0x%x", i, attributes[i].type);
        }
    }
    return call.run(session.handle(), hObject, entries.data(), attributes.size());
}

/// Allocates buffers of the lengths that the first call returned.
CK_RV makeRoom(std::span<ReadAttribute> attributes, Entries& entries, AttributeBudget& budget) {
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        if (entries[i].ulValueLen == static_cast<CK_ULONG>(-1)) {
            return CKR_GENERAL_ERROR;
        }
        if (!budget.take(entries[i].ulValueLen)) {
            return CKR_HOST_MEMORY;
        }
        attributes[i].value = SecretBuffer::tryAllocate(entries[i].ulValueLen);
        if (attributes[i].value.isNull()) {
            return CKR_HOST_MEMORY;
        }
        entries[i] = {attributes[i].type, attributes[i].value.data(),
                      static_cast<CK_ULONG>(attributes[i].value.size())};
    }
    return CKR_OK;
}

/// Takes the lengths of the second call, which may be below those of the first, never above.
CK_RV takeLengths(std::span<ReadAttribute> attributes, const Entries& entries, AttributeBudget& budget) {
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        if (entries[i].ulValueLen > attributes[i].value.size()) {
            return CKR_GENERAL_ERROR;
        }
        budget.giveBack(attributes[i].value.size() - entries[i].ulValueLen);
        attributes[i].value.truncate(entries[i].ulValueLen);
    }
    return CKR_OK;
}

void traceValues(const Trace& trace, std::span<const ReadAttribute> attributes) {
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        const std::span<const std::uint8_t> value = attributes[i].value.bytes();
        if (attributes.size() == 1) {
            trace.output(L"Template.type", attributes[i].type);
            trace.dump(TraceLevel::Value, value, L": <-- Template.value=");
        } else {
            trace.write(TraceLevel::Value, L": <-- Template[%d].type=0x%x", i, attributes[i].type);
            trace.dump(TraceLevel::Value, value, L": <-- Template[%d].value=", i);
        }
    }
}

} // namespace

CK_RV readAttributes(const Session& session, const Trace& trace, CK_OBJECT_HANDLE hObject,
                     std::span<ReadAttribute> attributes, AttributeBudget& budget) {
    Entries entries{};
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        entries[i].type = attributes[i].type;
    }
    if (const CK_RV rv = ask(session, trace, hObject, attributes, entries); rv != CKR_OK) {
        return rv;
    }
    if (const CK_RV rv = makeRoom(attributes, entries, budget); rv != CKR_OK) {
        trace.failed(cryptoki::getAttributeValue.name, rv);
        return rv;
    }
    if (const CK_RV rv = ask(session, trace, hObject, attributes, entries); rv != CKR_OK) {
        return rv;
    }
    if (const CK_RV rv = takeLengths(attributes, entries, budget); rv != CKR_OK) {
        trace.failed(cryptoki::getAttributeValue.name, rv);
        return rv;
    }
    traceValues(trace, attributes);
    return CKR_OK;
}

} // namespace plugin
