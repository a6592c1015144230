// Headers of libraries, whole and cut off at every byte.
#include "host/view/LibraryHeader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace host {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

void put(std::string& file, std::size_t offset, std::uint64_t value, std::size_t size) {
    file.resize(std::max(file.size(), offset + size), '\0');
    for (std::size_t i = 0; i < size; ++i) {
        file[offset + i] = static_cast<char>(value >> 8 * i & 0xFFU);
    }
}

void putText(std::string& file, std::size_t offset, const std::string& text) {
    file.resize(std::max(file.size(), offset + text.size() + 1), '\0');
    file.replace(offset, text.size(), text);
}

/// 64 bits, x86-64: one loaded segment of the whole file at 0x1000, and a dynamic section.
std::string elf() {
    std::string file = "\x7F"
                       "ELF";
    put(file, 4, 2, 1);
    put(file, 5, 1, 1);
    put(file, 16, 3, 2);
    put(file, 18, 62, 2);
    put(file, 32, 64, 8);
    put(file, 54, 56, 2);
    put(file, 56, 2, 2);
    put(file, 64, 1, 4); // PT_LOAD
    put(file, 80, 0x1000, 8);
    put(file, 96, 0x1000, 8);
    put(file, 120, 2, 4); // PT_DYNAMIC
    put(file, 128, 0x100, 8);
    put(file, 152, 6 * 16, 8);
    const std::uint64_t entries[][2] = {{1, 1}, {1, 9}, {5, 0x1200}, {29, 17}, {0, 0}};
    for (std::size_t i = 0; i < 5; ++i) {
        put(file, 0x100 + 16 * i, entries[i][0], 8);
        put(file, 0x108 + 16 * i, entries[i][1], 8);
    }
    putText(file, 0x201, "liba.so");
    putText(file, 0x209, "libb.so");
    putText(file, 0x211, "$ORIGIN:/opt/lib");
    return file;
}

/// 64 bits, x86-64, a DLL with one import.
std::string pe() {
    std::string file = "MZ";
    put(file, 0x3C, 0x80, 4);
    putText(file, 0x80, "PE");
    put(file, 0x84, 0x8664, 2);
    put(file, 0x86, 1, 2);
    put(file, 0x94, 240, 2);
    put(file, 0x96, 0x2000, 2);
    put(file, 0x98, 0x20B, 2);
    put(file, 0x98 + 112 + 8, 0x1000, 4); // imports
    const std::size_t section = 0x98 + 240;
    put(file, section + 12, 0x1000, 4);
    put(file, section + 16, 0x200, 4);
    put(file, section + 20, 0x400, 4);
    put(file, 0x400 + 12, 0x1100, 4);
    putText(file, 0x500, "winscard.dll");
    file.resize(0x600, '\0');
    return file;
}

LibraryHeader read(const std::string& file) {
    std::istringstream stream(file);
    return readLibraryHeader(stream);
}

TEST(LibraryHeader, ofElf) {
    const LibraryHeader header = read(elf());
    EXPECT_EQ(describe(header), "ELF, 64 bits, x86-64");
    EXPECT_TRUE(header.isLibrary);
    EXPECT_THAT(header.needed, ElementsAre("liba.so", "libb.so"));
    EXPECT_THAT(header.searched, ElementsAre("$ORIGIN", "/opt/lib"));
}

TEST(LibraryHeader, ofPe) {
    const LibraryHeader header = read(pe());
    EXPECT_EQ(describe(header), "PE, 64 bits, x86-64");
    EXPECT_TRUE(header.isLibrary);
    EXPECT_THAT(header.needed, ElementsAre("winscard.dll"));
    EXPECT_FALSE(isForSystemOf(header, read(elf())));
    EXPECT_TRUE(isForSystemOf(header, header));
}

TEST(LibraryHeader, ofAnotherMachine) {
    std::string file = elf();
    put(file, 18, 0x1234, 2);
    EXPECT_EQ(describe(read(file)), "ELF, 64 bits, machine 0x1234");
    EXPECT_FALSE(isForSystemOf(read(file), read(elf())));
    put(file, 5, 2, 1); // big-endian
    EXPECT_THAT(read(file).needed, IsEmpty());
}

TEST(LibraryHeader, ofNoLibrary) {
    EXPECT_EQ(describe(read("")), "empty");
    EXPECT_EQ(describe(read("#!/bin/sh\n")), "text");
    EXPECT_EQ(describe(read("!<arch>\n/")), "static library");
    EXPECT_EQ(describe(read("\xCF\xFA\xED\xFE\x07")), "Mach-O");
    EXPECT_EQ(describe(read(std::string(16, '\0'))), "unknown");
    EXPECT_FALSE(libraryHeaderOf("no-such-file").has_value());
    EXPECT_EQ(describe(libraryHeaderOf(".").value()), "folder");
}

TEST(LibraryHeader, survivesEveryCut) {
    for (const std::string& whole : {elf(), pe()}) {
        for (std::size_t length = 0; length < whole.size(); ++length) {
            EXPECT_LE(read(whole.substr(0, length)).needed.size(), 512U);
        }
    }
}

TEST(LibraryHeader, survivesEveryByteChanged) {
    for (const std::string& whole : {elf(), pe()}) {
        for (std::size_t at = 0; at < whole.size(); ++at) {
            std::string file = whole;
            file[at] = '\xFF';
            const LibraryHeader header = read(file);
            EXPECT_LE(header.needed.size(), 512U);
            EXPECT_LE(header.searched.size(), 512U);
        }
    }
}

} // namespace
} // namespace host
