#include "host/view/Layout.h"

#include <algorithm>
#include <cstring>

#include "host/inspect/FunctionTable.h"

namespace host {

namespace {

constexpr unsigned char kFirstPattern = 0xA5;
constexpr unsigned char kSecondPattern = 0x5A;

/// How far the first entry stands from where it should in a list of the other packing.
constexpr std::ptrdiff_t kOtherShift =
    offsetof(CK_FUNCTION_LIST, C_Initialize) == sizeof(CK_VERSION)
        ? static_cast<std::ptrdiff_t>(sizeof(void*) - sizeof(CK_VERSION))
        : static_cast<std::ptrdiff_t>(sizeof(CK_VERSION)) - static_cast<std::ptrdiff_t>(sizeof(void*));

bool leadsToCode(const CK_FUNCTION_LIST* list, const platform::ExecutableMemory& memory, std::ptrdiff_t shift) {
    bool hasAny = false;
    for (const FunctionEntry& entry : functionTable()) {
        const std::uintptr_t address = addressIn(list, entry, shift);
        hasAny = hasAny || address != 0;
        if (address != 0 && !memory.contains(address)) {
            return false;
        }
    }
    return hasAny;
}

} // namespace

ListLayout layoutOfList(const CK_FUNCTION_LIST* list, const platform::ExecutableMemory& memory) {
    if (leadsToCode(list, memory, 0)) {
        return ListLayout::Own;
    }
    return leadsToCode(list, memory, kOtherShift) ? ListLayout::Foreign : ListLayout::Unknown;
}

// The version (2 bytes) and the manufacturer (32) stand first in each; the description has 32 bytes.
const std::array<InfoProbe::Shape, 4> InfoProbe::kShapes = {{
    {"packed, CK_ULONG of 32 bits", 4, 34, 38, 70, 72},
    {"unpacked, CK_ULONG of 32 bits", 4, 36, 40, 72, 76},
    {"packed, CK_ULONG of 64 bits", 8, 34, 42, 74, 76},
    {"unpacked, CK_ULONG of 64 bits", 8, 40, 48, 80, 88},
}};

bool InfoProbe::isOwn(const Shape& shape) noexcept {
    return shape.word == sizeof(CK_ULONG) && shape.description == offsetof(CK_INFO, libraryDescription);
}

CK_INFO* InfoProbe::prepare(bool second) noexcept {
    Buffer& buffer = second ? m_second : m_first;
    buffer.bytes.fill(second ? kSecondPattern : kFirstPattern);
    return &buffer.info;
}

bool InfoProbe::isWritten(std::size_t place) const noexcept {
    return m_first.bytes[place] != kFirstPattern || m_second.bytes[place] != kSecondPattern;
}

/// All bytes of the fields are written, and none behind the structure.
bool InfoProbe::fits(const Shape& shape) const {
    const auto areWritten = [this](std::size_t begin, std::size_t end, bool wanted) {
        for (std::size_t i = begin; i < end; ++i) {
            if (isWritten(i) != wanted) {
                return false;
            }
        }
        return true;
    };
    constexpr std::size_t kText = 32;
    return areWritten(0, sizeof(CK_VERSION) + kText, true) && areWritten(shape.flags, shape.flags + shape.word, true) &&
           areWritten(shape.description, shape.description + kText, true) &&
           areWritten(shape.version, shape.version + sizeof(CK_VERSION), true) && areWritten(shape.size, kRoom, false);
}

/// The flags are 0 in every version of the standard, and a description begins with a letter: this tells apart two
/// layouts of one size.
bool InfoProbe::reads(const Shape& shape) const {
    const auto* const flags = m_second.bytes.begin() + shape.flags;
    return std::all_of(flags, flags + shape.word, [](unsigned char byte) { return byte == 0; }) &&
           m_second.bytes[shape.description] != 0;
}

bool InfoProbe::isOurs() const {
    return std::any_of(kShapes.begin(), kShapes.end(), [&](const Shape& shape) { return isOwn(shape) && fits(shape); });
}

std::string InfoProbe::foreignLayout() const {
    if (isOurs()) {
        return {};
    }
    for (const Shape& shape : kShapes) {
        if (!isOwn(shape) && fits(shape) && reads(shape)) {
            return shape.name;
        }
    }
    return {};
}

std::string ownLayout() {
    const bool isPacked = offsetof(CK_INFO, flags) == sizeof(CK_VERSION) + sizeof(CK_INFO::manufacturerID);
    return std::string(isPacked ? "packed" : "unpacked") + ", CK_ULONG of " + std::to_string(8 * sizeof(CK_ULONG)) +
           " bits";
}

} // namespace host
