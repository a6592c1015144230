#include "watch/calls/ArgumentText.h"

#include <algorithm>

#include "watch/calls/AttributeText.h"
#include "watch/calls/OpenObjects.h"

namespace watch {

namespace {

using cryptoki::NameKind;
using Bytes = std::span<const std::uint8_t>;

CK_ULONG number(Word word) noexcept {
    return static_cast<CK_ULONG>(word);
}

void writeMasked(JsonLine& line, CK_ULONG length) noexcept {
    line.open('{').key("length").length(length).key("value").name("masked").close('}');
}

Bytes bytesAt(Word address, Word length) noexcept {
    return {pointer<const std::uint8_t>(address), static_cast<std::size_t>(length)};
}

/// A label has no length: it is padded to 32 bytes. Some programs give a shorter text with a null at its end instead,
/// behind which anything may stand.
Bytes paddedLabel(Word address) noexcept {
    const auto* const text = pointer<const std::uint8_t>(address);
    return {text, std::find(text, text + 32, 0)};
}

void writeShown(JsonLine& line, const Word* words, CK_ULONG length) noexcept {
    line.open('{').key("length").length(length);
    if (length <= kLongestValue) {
        line.key("value").bytes(bytesAt(words[0], length));
    }
    line.close('}');
}

void writeInitialize(JsonLine& line, const CK_C_INITIALIZE_ARGS* args) noexcept {
    if (args == nullptr) {
        line.null();
        return;
    }
    line.open('{').key("flags").number(args->flags);
    line.key("mutexes").boolean(args->CreateMutex != nullptr || args->LockMutex != nullptr);
    line.key("reserved").boolean(args->pReserved != nullptr).close('}');
}

/// Notes the room of an output, and writes null or the room.
void writeRoom(JsonLine& line, Kind kind, const Word* words, Rooms& rooms) noexcept {
    if (words[0] == 0) {
        line.null();
        return;
    }
    line.open('{');
    if (kind == Kind::RandomOut || kind == Kind::ObjectsOut) {
        rooms.output = number(words[1]);
        line.key("room").length(rooms.output);
    } else if (kind > Kind::RandomOut && words[1] != 0) {
        rooms.output = *pointer<CK_ULONG>(words[1]);
        line.key("room").length(rooms.output);
    }
    line.close('}');
}

void writeQueryInput(JsonLine& line, const Word* words, Rooms& rooms) {
    const auto* const attributes = pointer<CK_ATTRIBUTE>(words[0]);
    const CK_ULONG count = number(words[1]);
    for (CK_ULONG i = 0; attributes != nullptr && count <= kMostAttributes && i < count; ++i) {
        rooms.attributes.push_back(attributes[i].ulValueLen);
    }
    writeQuery(line, attributes, rooms.attributes);
}

void writeNumber(JsonLine& line, Kind kind, Word word) noexcept {
    if (kind == Kind::UserType) {
        writeNamed(line, NameKind::UserType, word);
    } else if (kind == Kind::MechanismType) {
        writeNamed(line, NameKind::Mechanism, word);
    } else {
        line.number(word);
    }
}

void writeBuffer(JsonLine& line, Kind kind, const Word* words, bool isOpen) noexcept {
    if (kind >= Kind::Template && kind <= Kind::SecretTemplate) {
        const bool isShown = kind == Kind::PublicTemplate || (kind == Kind::Template && isOpen);
        return writeTemplate(line, pointer<CK_ATTRIBUTE>(words[0]), number(words[1]), isShown);
    }
    if (words[0] == 0) {
        line.null();
    } else if (kind == Kind::Pin) {
        line.name("masked");
    } else if (kind == Kind::Masked) {
        writeMasked(line, number(words[1]));
    } else if (kind == Kind::Bytes) {
        writeShown(line, words, number(words[1]));
    } else if (number(words[1]) <= kLongestValue) {
        line.text(bytesAt(words[0], number(words[1])));
    } else {
        line.open('{').key("length").length(number(words[1])).close('}');
    }
}

void writeInput(JsonLine& line, Kind kind, const Word* words, bool isOpen, Rooms& rooms) {
    if (isOutput(kind)) {
        return writeRoom(line, kind, words, rooms);
    }
    switch (kind) {
    case Kind::Pointer:
        words[0] == 0 ? line.null() : line.name("given");
        return;
    case Kind::Initialize:
        return writeInitialize(line, pointer<CK_C_INITIALIZE_ARGS>(words[0]));
    case Kind::PaddedLabel:
        words[0] == 0 ? line.null() : line.text(paddedLabel(words[0]));
        return;
    case Kind::Mechanism:
        return writeMechanism(line, pointer<CK_MECHANISM>(words[0]));
    case Kind::Query:
        return writeQueryInput(line, words, rooms);
    default:
        kind < Kind::Pin ? writeNumber(line, kind, words[0]) : writeBuffer(line, kind, words, isOpen);
    }
}

void writeVersion(JsonLine& line, std::string_view name, const CK_VERSION& version) noexcept {
    line.key(name).open('[').number(version.major).number(version.minor).close(']');
}

/// A blank-padded field.
template <std::size_t kSize>
void writeField(JsonLine& line, std::string_view name, const CK_UTF8CHAR (&field)[kSize]) noexcept {
    std::size_t length = kSize;
    while (length > 0 && field[length - 1] == ' ') {
        --length;
    }
    line.key(name).text({field, length});
}

void writeInfo(JsonLine& line, const CK_INFO& info) noexcept {
    writeVersion(line, "cryptokiVersion", info.cryptokiVersion);
    writeField(line, "manufacturerID", info.manufacturerID);
    line.key("flags").number(info.flags);
    writeField(line, "libraryDescription", info.libraryDescription);
    writeVersion(line, "libraryVersion", info.libraryVersion);
}

void writeInfo(JsonLine& line, const CK_SLOT_INFO& info) noexcept {
    writeField(line, "slotDescription", info.slotDescription);
    writeField(line, "manufacturerID", info.manufacturerID);
    line.key("flags").number(info.flags);
    writeVersion(line, "hardwareVersion", info.hardwareVersion);
    writeVersion(line, "firmwareVersion", info.firmwareVersion);
}

void writeInfo(JsonLine& line, const CK_TOKEN_INFO& info) noexcept {
    writeField(line, "label", info.label);
    writeField(line, "manufacturerID", info.manufacturerID);
    writeField(line, "model", info.model);
    writeField(line, "serialNumber", info.serialNumber);
    line.key("flags").number(info.flags);
    line.key("ulMaxSessionCount").length(info.ulMaxSessionCount).key("ulSessionCount").length(info.ulSessionCount);
    line.key("ulMaxRwSessionCount").length(info.ulMaxRwSessionCount);
    line.key("ulRwSessionCount").length(info.ulRwSessionCount);
    line.key("ulMaxPinLen").length(info.ulMaxPinLen).key("ulMinPinLen").length(info.ulMinPinLen);
    line.key("ulTotalPublicMemory").length(info.ulTotalPublicMemory);
    line.key("ulFreePublicMemory").length(info.ulFreePublicMemory);
    line.key("ulTotalPrivateMemory").length(info.ulTotalPrivateMemory);
    line.key("ulFreePrivateMemory").length(info.ulFreePrivateMemory);
    writeVersion(line, "hardwareVersion", info.hardwareVersion);
    writeVersion(line, "firmwareVersion", info.firmwareVersion);
    writeField(line, "utcTime", info.utcTime);
}

void writeInfo(JsonLine& line, const CK_SESSION_INFO& info) noexcept {
    line.key("slotID").number(info.slotID).key("state");
    writeNamed(line, NameKind::SessionState, info.state);
    line.key("flags").number(info.flags).key("ulDeviceError").number(info.ulDeviceError);
}

void writeInfo(JsonLine& line, const CK_MECHANISM_INFO& info) noexcept {
    line.key("ulMinKeySize").length(info.ulMinKeySize).key("ulMaxKeySize").length(info.ulMaxKeySize);
    line.key("flags").number(info.flags);
}

template <class Info>
void writeStructure(JsonLine& line, const Word* words) noexcept {
    line.open('{');
    writeInfo(line, *pointer<const Info>(words[0]));
    line.close('}');
}

/// A count that a module sets may be larger than the array that it filled.
void writeList(JsonLine& line, Kind kind, const CK_ULONG* entries, CK_ULONG count, CK_ULONG room) noexcept {
    line.open('{').key("count").length(count);
    if (entries != nullptr && count <= room) {
        line.key("values").open('[');
        for (const CK_ULONG entry : std::span(entries, count)) {
            kind == Kind::MechanismsOut ? writeNamed(line, NameKind::Mechanism, entry) : void(line.number(entry));
        }
        line.close(']');
    }
    line.close('}');
}

void writeBufferOutput(JsonLine& line, Kind kind, const Word* words, const Rooms& rooms, CK_RV result) noexcept {
    if (kind == Kind::RandomOut) {
        return writeMasked(line, rooms.output);
    }
    const auto* const count = pointer<CK_ULONG>(words[kind == Kind::ObjectsOut ? 2 : 1]);
    if (count == nullptr) {
        line.null();
        return;
    }
    const bool isFilled = result == CKR_OK && words[0] != 0;
    if (kind >= Kind::SlotsOut) {
        return writeList(line, kind, isFilled ? pointer<CK_ULONG>(words[0]) : nullptr, *count, rooms.output);
    }
    if (!isFilled || *count > rooms.output) {
        line.open('{').key("length").length(*count).close('}');
    } else if (kind == Kind::BytesOut) {
        writeShown(line, words, *count);
    } else {
        writeMasked(line, *count);
    }
}

void writeOutput(JsonLine& line, Kind kind, const Word* words, const Rooms& rooms, CK_RV result) noexcept {
    if (kind >= Kind::RandomOut) {
        return writeBufferOutput(line, kind, words, rooms, result);
    }
    if (words[0] == 0) {
        line.null();
        return;
    }
    switch (kind) {
    case Kind::InfoOut:
        return writeStructure<CK_INFO>(line, words);
    case Kind::SlotInfoOut:
        return writeStructure<CK_SLOT_INFO>(line, words);
    case Kind::TokenInfoOut:
        return writeStructure<CK_TOKEN_INFO>(line, words);
    case Kind::SessionInfoOut:
        return writeStructure<CK_SESSION_INFO>(line, words);
    case Kind::MechanismInfoOut:
        return writeStructure<CK_MECHANISM_INFO>(line, words);
    default:
        line.number(*pointer<CK_ULONG>(words[0]));
    }
}

/// Results with which a module has answered for each attribute of a template.
bool answersAttributes(CK_RV result) noexcept {
    return result == CKR_OK || result == CKR_ATTRIBUTE_SENSITIVE || result == CKR_ATTRIBUTE_TYPE_INVALID ||
           result == CKR_BUFFER_TOO_SMALL;
}

} // namespace

void writeInputs(JsonLine& line, const Function& function, Words words, bool isOpen, Rooms& rooms) {
    const Word* next = words.data();
    line.open('{');
    for (const Argument& argument : function.arguments) {
        if (argument.kind != Kind::None) {
            line.key(argument.name);
            writeInput(line, argument.kind, next, isOpen, rooms);
            next += parametersOf(argument.kind);
        }
    }
    line.close('}');
}

void writeOutputs(JsonLine& line, const Function& function, Words words, bool isOpen, const Rooms& rooms,
                  CK_RV result) {
    const Word* next = words.data();
    line.open('{');
    for (const Argument& argument : function.arguments) {
        const bool hasLength = argument.kind > Kind::RandomOut;
        if (argument.kind == Kind::Query && answersAttributes(result)) {
            line.key(argument.name);
            writeAnswer(line, pointer<CK_ATTRIBUTE>(next[0]), rooms.attributes, isOpen, result == CKR_OK);
        } else if (isOutput(argument.kind) && (result == CKR_OK || (hasLength && result == CKR_BUFFER_TOO_SMALL))) {
            line.key(argument.name);
            writeOutput(line, argument.kind, next, rooms, result);
        }
        next += parametersOf(argument.kind);
    }
    line.close('}');
}

} // namespace watch
