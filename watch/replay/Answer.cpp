#include "watch/replay/Answer.h"

#include <algorithm>
#include <cstring>

#include "watch/record/Values.h"

namespace watch {

namespace {

using cryptoki::NameKind;

CK_ULONG field(const Json& info, const char* name) {
    return numberOf(info.value(name, Json()));
}

template <std::size_t kSize>
void fillField(CK_UTF8CHAR (&field)[kSize], const Json& info, const char* name) {
    const ByteVector text = textOf(info.value(name, Json()));
    std::memset(field, ' ', kSize);
    std::copy_n(text.begin(), std::min(text.size(), kSize), field);
}

void fillVersion(CK_VERSION& version, const Json& info, const char* name) {
    const Json pair = info.value(name, Json());
    if (pair.is_array() && pair.size() == 2) {
        version = {static_cast<CK_BYTE>(numberOf(pair[0])), static_cast<CK_BYTE>(numberOf(pair[1]))};
    }
}

void fill(CK_INFO& info, const Json& recorded) {
    fillVersion(info.cryptokiVersion, recorded, "cryptokiVersion");
    fillField(info.manufacturerID, recorded, "manufacturerID");
    info.flags = field(recorded, "flags");
    fillField(info.libraryDescription, recorded, "libraryDescription");
    fillVersion(info.libraryVersion, recorded, "libraryVersion");
}

void fill(CK_SLOT_INFO& info, const Json& recorded) {
    fillField(info.slotDescription, recorded, "slotDescription");
    fillField(info.manufacturerID, recorded, "manufacturerID");
    info.flags = field(recorded, "flags");
    fillVersion(info.hardwareVersion, recorded, "hardwareVersion");
    fillVersion(info.firmwareVersion, recorded, "firmwareVersion");
}

void fill(CK_TOKEN_INFO& info, const Json& recorded) {
    fillField(info.label, recorded, "label");
    fillField(info.manufacturerID, recorded, "manufacturerID");
    fillField(info.model, recorded, "model");
    fillField(info.serialNumber, recorded, "serialNumber");
    info.flags = field(recorded, "flags");
    info.ulMaxSessionCount = field(recorded, "ulMaxSessionCount");
    info.ulSessionCount = field(recorded, "ulSessionCount");
    info.ulMaxRwSessionCount = field(recorded, "ulMaxRwSessionCount");
    info.ulRwSessionCount = field(recorded, "ulRwSessionCount");
    info.ulMaxPinLen = field(recorded, "ulMaxPinLen");
    info.ulMinPinLen = field(recorded, "ulMinPinLen");
    info.ulTotalPublicMemory = field(recorded, "ulTotalPublicMemory");
    info.ulFreePublicMemory = field(recorded, "ulFreePublicMemory");
    info.ulTotalPrivateMemory = field(recorded, "ulTotalPrivateMemory");
    info.ulFreePrivateMemory = field(recorded, "ulFreePrivateMemory");
    fillVersion(info.hardwareVersion, recorded, "hardwareVersion");
    fillVersion(info.firmwareVersion, recorded, "firmwareVersion");
    fillField(info.utcTime, recorded, "utcTime");
}

void fill(CK_SESSION_INFO& info, const Json& recorded) {
    info.slotID = field(recorded, "slotID");
    info.state = namedNumber(NameKind::SessionState, recorded.value("state", Json()));
    info.flags = field(recorded, "flags");
    info.ulDeviceError = field(recorded, "ulDeviceError");
}

void fill(CK_MECHANISM_INFO& info, const Json& recorded) {
    info.ulMinKeySize = field(recorded, "ulMinKeySize");
    info.ulMaxKeySize = field(recorded, "ulMaxKeySize");
    info.flags = field(recorded, "flags");
}

template <class Info>
void fillStructure(Word address, const Json& recorded) {
    if (address != 0 && recorded.is_object()) {
        Info info{};
        fill(info, recorded);
        std::memcpy(pointer<Info>(address), &info, sizeof info);
    }
}

/// Bytes, and their length behind a pointer.
CK_RV fillBytes(const Word* words, const Json& recorded) {
    auto* const length = pointer<CK_ULONG>(words[1]);
    if (length == nullptr || !recorded.is_object()) {
        return CKR_OK;
    }
    const CK_ULONG room = *length;
    *length = field(recorded, "length");
    if (words[0] == 0 || !recorded.contains("value")) {
        return CKR_OK;
    }
    if (*length > room) {
        return CKR_BUFFER_TOO_SMALL;
    }
    ByteVector bytes = recorded["value"] == "masked" ? ByteVector() : bytesOf(recorded["value"]);
    bytes.resize(*length);
    std::copy(bytes.begin(), bytes.end(), pointer<std::uint8_t>(words[0]));
    return CKR_OK;
}

CK_ULONG entryOf(Kind kind, const Json& recorded, HandleMaps& handles) {
    if (kind == Kind::ObjectsOut) {
        return recorded.is_number_unsigned() ? handles.objects.handOut(recorded.get<std::uint64_t>()) : 0;
    }
    return kind == Kind::MechanismsOut ? namedNumber(NameKind::Mechanism, recorded) : numberOf(recorded);
}

/// Slots, mechanisms or objects, and their count.
CK_RV fillList(Kind kind, const Word* words, const Json& recorded, HandleMaps& handles) {
    auto* const count = pointer<CK_ULONG>(words[kind == Kind::ObjectsOut ? 2 : 1]);
    if (count == nullptr || !recorded.is_object()) {
        return CKR_OK;
    }
    const CK_ULONG room = kind == Kind::ObjectsOut ? static_cast<CK_ULONG>(words[1]) : *count;
    *count = field(recorded, "count");
    const Json values = recorded.value("values", Json::array());
    if (words[0] == 0) {
        return CKR_OK;
    }
    if (values.size() > room && kind != Kind::ObjectsOut) {
        return CKR_BUFFER_TOO_SMALL;
    }
    const std::size_t filled = std::min<std::size_t>(values.size(), room);
    for (std::size_t i = 0; i < filled; ++i) {
        pointer<CK_ULONG>(words[0])[i] = entryOf(kind, values[i], handles);
    }
    if (!values.empty()) {
        *count = static_cast<CK_ULONG>(filled);
    }
    return CKR_OK;
}

CK_RV fillTemplate(const Word* words, const Json& recorded) {
    auto* const attributes = pointer<CK_ATTRIBUTE>(words[0]);
    CK_RV result = CKR_OK;
    for (std::size_t i = 0;
         attributes != nullptr && recorded.is_array() && i < std::min<Word>(words[1], recorded.size()); ++i) {
        const CK_RV filled = fillAttribute(attributes[i], recorded[i]);
        result = filled == CKR_BUFFER_TOO_SMALL ? filled : result;
    }
    return result;
}

void fillHandle(Word address, Handles& handles, const Json& recorded) {
    if (address != 0 && recorded.is_number_unsigned()) {
        *pointer<CK_ULONG>(address) = handles.handOut(recorded.get<std::uint64_t>());
    }
}

CK_RV fillOutput(Kind kind, const Word* words, const Json& recorded, HandleMaps& handles) {
    switch (kind) {
    case Kind::SessionOut:
        fillHandle(words[0], handles.sessions, recorded);
        return CKR_OK;
    case Kind::ObjectOut:
        fillHandle(words[0], handles.objects, recorded);
        return CKR_OK;
    case Kind::SlotOut:
    case Kind::NumberOut:
        if (words[0] != 0 && !recorded.is_null()) {
            *pointer<CK_ULONG>(words[0]) = numberOf(recorded);
        }
        return CKR_OK;
    case Kind::InfoOut:
        fillStructure<CK_INFO>(words[0], recorded);
        return CKR_OK;
    case Kind::SlotInfoOut:
        fillStructure<CK_SLOT_INFO>(words[0], recorded);
        return CKR_OK;
    case Kind::TokenInfoOut:
        fillStructure<CK_TOKEN_INFO>(words[0], recorded);
        return CKR_OK;
    case Kind::SessionInfoOut:
        fillStructure<CK_SESSION_INFO>(words[0], recorded);
        return CKR_OK;
    case Kind::MechanismInfoOut:
        fillStructure<CK_MECHANISM_INFO>(words[0], recorded);
        return CKR_OK;
    case Kind::RandomOut:
        if (words[0] != 0) {
            std::memset(pointer<char>(words[0]), 0, static_cast<std::size_t>(words[1]));
        }
        return CKR_OK;
    case Kind::Query:
        return fillTemplate(words, recorded);
    case Kind::MaskedOut:
    case Kind::BytesOut:
        return fillBytes(words, recorded);
    case Kind::SlotsOut:
    case Kind::MechanismsOut:
    case Kind::ObjectsOut:
        return fillList(kind, words, recorded, handles);
    default:
        return CKR_OK;
    }
}

} // namespace

CK_RV fillAttribute(CK_ATTRIBUTE& attribute, const Json& recorded) {
    const RecordedAttribute known = attributeOf(recorded);
    if (known.length == CK_UNAVAILABLE_INFORMATION || attribute.pValue == nullptr) {
        attribute.ulValueLen = known.length;
        return known.length == CK_UNAVAILABLE_INFORMATION ? CKR_ATTRIBUTE_TYPE_INVALID : CKR_OK;
    }
    if (!known.value) {
        // Of a filled template the record has a length alone where the module's was nonsense, or was not reached.
        attribute.ulValueLen = known.length;
        return CKR_OK;
    }
    if (known.length > attribute.ulValueLen) {
        attribute.ulValueLen = CK_UNAVAILABLE_INFORMATION;
        return CKR_BUFFER_TOO_SMALL;
    }
    std::copy(known.value->begin(), known.value->end(), static_cast<std::uint8_t*>(attribute.pValue));
    attribute.ulValueLen = known.length;
    return CKR_OK;
}

CK_RV answer(const Function& function, const RecordedLine& line, Words words, HandleMaps& handles) {
    CK_RV result = line.result;
    const Word* next = words.data();
    for (const Argument& argument : function.arguments) {
        if (argument.kind != Kind::None && line.out.contains(argument.name)) {
            const CK_RV filled = fillOutput(argument.kind, next, line.out[argument.name], handles);
            result = filled == CKR_OK ? result : filled;
        }
        next += parametersOf(argument.kind);
    }
    return result;
}

} // namespace watch
