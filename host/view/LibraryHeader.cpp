#include "host/view/LibraryHeader.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "host/plugin/Paths.h"
#include "host/view/FilePieces.h"

namespace host {

namespace {

constexpr std::size_t kMostLibraries = 512;
constexpr std::uint64_t kMostSegments = 256;
constexpr std::uint64_t kMostEntries = 4096;

struct Machine {
    std::uint64_t number;
    const char* name;
};

constexpr std::array<Machine, 8> kElfMachines = {{{3, "x86"},
                                                  {20, "PowerPC"},
                                                  {21, "PowerPC 64"},
                                                  {22, "S/390"},
                                                  {40, "ARM"},
                                                  {62, "x86-64"},
                                                  {183, "AArch64"},
                                                  {243, "RISC-V"}}};
constexpr std::array<Machine, 4> kPeMachines = {
    {{0x14C, "x86"}, {0x8664, "x86-64"}, {0x1C4, "ARM"}, {0xAA64, "AArch64"}}};

template <std::size_t Size>
std::string machineName(const std::array<Machine, Size>& machines, std::uint64_t number) {
    const auto* const found =
        std::find_if(machines.begin(), machines.end(), [&](const Machine& entry) { return entry.number == number; });
    if (found != machines.end()) {
        return found->name;
    }
    std::array<char, 32> text = {};
    std::snprintf(text.data(), text.size(), "machine 0x%04X", static_cast<unsigned int>(number));
    return text.data();
}

/// Where the fields of an ELF file stand, for its width.
struct ElfShape {
    std::size_t word; ///< bytes of an address
    std::uint64_t headers, headerSize, headerCount;
    std::uint64_t offset, address, size; ///< in a program header
};
constexpr ElfShape kElf32 = {4, 28, 42, 44, 4, 8, 16};
constexpr ElfShape kElf64 = {8, 32, 54, 56, 8, 16, 32};

struct Segment {
    std::uint64_t kind;
    std::uint64_t offset;
    std::uint64_t address;
    std::uint64_t size;
};

std::vector<Segment> segmentsOf(const FilePieces& file, const ElfShape& shape) {
    const std::uint64_t first = file.number(shape.headers, shape.word);
    const std::uint64_t step = file.number(shape.headerSize, 2);
    const std::uint64_t count = std::min(file.number(shape.headerCount, 2), kMostSegments);
    std::vector<Segment> segments;
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::uint64_t begin = first + i * step;
        segments.push_back({file.number(begin, 4), file.number(begin + shape.offset, shape.word),
                            file.number(begin + shape.address, shape.word),
                            file.number(begin + shape.size, shape.word)});
    }
    return segments;
}

/// The place in the file of an address in memory; 0 for an address that no segment holds.
std::uint64_t placeOf(const std::vector<Segment>& segments, std::uint64_t address) {
    constexpr std::uint64_t kLoaded = 1;
    for (const Segment& segment : segments) {
        if (segment.kind == kLoaded && address >= segment.address && address - segment.address < segment.size) {
            return segment.offset + (address - segment.address);
        }
    }
    return 0;
}

std::vector<std::string> parts(const std::string& list) {
    std::vector<std::string> found;
    for (std::size_t begin = 0; begin <= list.size();) {
        const std::size_t end = std::min(list.find(':', begin), list.size());
        if (end > begin) {
            found.push_back(list.substr(begin, end - begin));
        }
        begin = end + 1;
    }
    return found;
}

void readDynamic(const FilePieces& file, const ElfShape& shape, LibraryHeader& header) {
    enum Tag : std::uint64_t { End = 0, Needed = 1, Strings = 5, RPath = 15, RunPath = 29 };
    constexpr std::uint64_t kDynamic = 2;
    const std::vector<Segment> segments = segmentsOf(file, shape);
    const auto dynamic =
        std::find_if(segments.begin(), segments.end(), [](const Segment& s) { return s.kind == kDynamic; });
    if (dynamic == segments.end()) {
        return;
    }
    std::vector<std::pair<std::uint64_t, std::uint64_t>> entries;
    std::uint64_t strings = 0;
    const std::uint64_t count = std::min(dynamic->size / (2 * shape.word), kMostEntries);
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::uint64_t place = dynamic->offset + i * 2 * shape.word;
        entries.emplace_back(file.number(place, shape.word), file.number(place + shape.word, shape.word));
        if (entries.back().first == End) {
            break;
        }
        strings = entries.back().first == Strings ? placeOf(segments, entries.back().second) : strings;
    }
    for (const auto& [tag, value] : entries) {
        if (tag == Needed && header.needed.size() < kMostLibraries) {
            header.needed.push_back(file.text(strings + value));
        } else if (tag == RPath || tag == RunPath) {
            header.searched = parts(file.text(strings + value));
        }
    }
}

LibraryHeader readElf(const FilePieces& file) {
    LibraryHeader header;
    header.format = "ELF";
    header.bits = file.number(4, 1) == 1 ? 32 : 64;
    const bool isLittle = file.number(5, 1) == 1;
    // The machine of a big-endian file has its bytes the other way round.
    header.machine = machineName(kElfMachines, isLittle ? file.number(18, 2) : file.number(19, 1)) +
                     (isLittle ? "" : ", big-endian");
    header.isLibrary = file.number(isLittle ? 16 : 17, 1) == 3;
    if (isLittle) {
        readDynamic(file, header.bits == 32 ? kElf32 : kElf64, header);
    }
    return header;
}

/// The place in the file of an address in a loaded PE file; 0 for one that no section holds.
std::uint64_t placeOf(const FilePieces& file, std::uint64_t sections, std::uint64_t count, std::uint64_t address) {
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::uint64_t begin = sections + i * 40;
        const std::uint64_t start = file.number(begin + 12, 4);
        const std::uint64_t size = file.number(begin + 16, 4);
        if (address >= start && address - start < size) {
            return file.number(begin + 20, 4) + (address - start);
        }
    }
    return 0;
}

void readImports(const FilePieces& file, std::uint64_t start, LibraryHeader& header) {
    const std::uint64_t optional = start + 24;
    const std::uint64_t sections = optional + file.number(start + 20, 2);
    const std::uint64_t count = std::min(file.number(start + 6, 2), kMostSegments);
    const std::uint64_t directories = optional + (header.bits == 32 ? 96 : 112);
    const std::uint64_t imports = file.number(directories + 8, 4);
    const std::uint64_t first = imports == 0 ? 0 : placeOf(file, sections, count, imports);
    for (std::uint64_t i = 0; first != 0 && i < kMostLibraries; ++i) {
        const std::uint64_t name = file.number(first + i * 20 + 12, 4);
        const std::uint64_t place = name == 0 ? 0 : placeOf(file, sections, count, name);
        if (place == 0) {
            return;
        }
        header.needed.push_back(file.text(place));
    }
}

LibraryHeader readPe(const FilePieces& file, std::uint64_t start) {
    LibraryHeader header;
    header.format = "PE";
    header.bits = file.number(start + 24, 2) == 0x10B ? 32 : 64;
    header.machine = machineName(kPeMachines, file.number(start + 4, 2));
    header.isLibrary = (file.number(start + 22, 2) & 0x2000U) != 0;
    readImports(file, start, header);
    return header;
}

/// What a file is that no system here loads.
std::string otherFormat(const std::string& begin) {
    constexpr std::array<std::string_view, 5> kMachO = {"\xFE\xED\xFA\xCE", "\xFE\xED\xFA\xCF", "\xCE\xFA\xED\xFE",
                                                        "\xCF\xFA\xED\xFE", "\xCA\xFE\xBA\xBE"};
    if (begin.empty()) {
        return "empty";
    }
    if (std::find(kMachO.begin(), kMachO.end(), begin.substr(0, 4)) != kMachO.end()) {
        return "Mach-O";
    }
    if (begin.substr(0, 7) == "!<arch>") {
        return "static library";
    }
    const bool isText = std::none_of(begin.begin(), begin.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 && c != '\n' && c != '\r' && c != '\t';
    });
    return isText ? "text" : "unknown";
}

} // namespace

LibraryHeader readLibraryHeader(std::istream& stream) {
    const FilePieces file(stream);
    const std::string begin = file.bytes(0, 512);
    if (begin.substr(0, 4) == "\x7F"
                              "ELF") {
        return readElf(file);
    }
    const std::uint64_t start = begin.substr(0, 2) == "MZ" ? file.number(0x3C, 4) : 0;
    if (start != 0 && file.number(start, 4) == 0x4550) {
        return readPe(file, start);
    }
    LibraryHeader header;
    header.format = otherFormat(begin);
    return header;
}

std::optional<LibraryHeader> libraryHeaderOf(const std::string& path) {
    const std::filesystem::path name = pathOf(path);
    std::error_code ignored;
    const std::filesystem::file_status status = std::filesystem::status(name, ignored);
    if (!std::filesystem::exists(status)) {
        return std::nullopt;
    }
    if (!std::filesystem::is_regular_file(status)) { // to open a pipe would be to wait for a writer
        LibraryHeader header;
        header.format = std::filesystem::is_directory(status) ? "folder" : "pipe or device";
        return header;
    }
    std::ifstream file(name, std::ios::binary);
    return file ? std::optional(readLibraryHeader(file)) : std::nullopt;
}

std::string describe(const LibraryHeader& header) {
    if (header.bits == 0) {
        return header.format;
    }
    return header.format + ", " + std::to_string(header.bits) + " bits, " + header.machine +
           (header.isLibrary ? "" : ", no library");
}

bool isForSystemOf(const LibraryHeader& library, const LibraryHeader& own) {
    return library.isLibrary && library.format == own.format && library.bits == own.bits &&
           library.machine == own.machine;
}

} // namespace host
