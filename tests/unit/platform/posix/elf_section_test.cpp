#include "platform/posix/ElfSection.h"

#include <elf.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "../Fixture.h"

namespace {

constexpr std::string_view kName = ".zel.version";
constexpr std::size_t kLimit = 4096;

/// A file with a header, the names, the wanted section and the table of three sections behind them.
struct Elf {
    std::string names = std::string("\0.names\0.zel.version\0", 21);
    std::string contents = "hello";
    Elf64_Ehdr header{};
    std::vector<Elf64_Shdr> sections = std::vector<Elf64_Shdr>(3);

    Elf() {
        std::memcpy(header.e_ident, ELFMAG, SELFMAG);
        header.e_ident[EI_CLASS] = ELFCLASS64;
        header.e_ident[EI_DATA] = ELFDATA2LSB;
        header.e_shentsize = sizeof(Elf64_Shdr);
        header.e_shnum = 3;
        header.e_shstrndx = 1;
        header.e_shoff = sizeof header + names.size() + contents.size();
        sections[1].sh_type = SHT_STRTAB;
        sections[1].sh_name = 1;
        sections[1].sh_offset = sizeof header;
        sections[1].sh_size = names.size();
        sections[2].sh_type = SHT_PROGBITS;
        sections[2].sh_name = 8;
        sections[2].sh_offset = sizeof header + names.size();
        sections[2].sh_size = contents.size();
    }

    [[nodiscard]] std::string bytes() const {
        std::string file(reinterpret_cast<const char*>(&header), sizeof header);
        file += names + contents;
        file.append(reinterpret_cast<const char*>(sections.data()), sections.size() * sizeof(Elf64_Shdr));
        return file;
    }
};

class ElfSection : public testing::Test {
protected:
    std::optional<std::string> read(const std::string& file) {
        return platform::readElfSection(m_folder.write("file.so", file).string(), kName, kLimit);
    }
    std::optional<std::string> read(const Elf& elf) { return read(elf.bytes()); }

    TemporaryFolder m_folder;
};

TEST_F(ElfSection, IsFoundByItsName) {
    EXPECT_EQ(read(Elf()), "hello");
}

TEST_F(ElfSection, IsNothingInAnyCutFile) {
    const std::string whole = Elf().bytes();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_EQ(read(whole.substr(0, size)), std::nullopt) << size;
    }
}

TEST_F(ElfSection, IsNothingInAFileOfAnotherKind) {
    Elf elf;
    elf.header.e_ident[EI_CLASS] = ELFCLASS32;
    EXPECT_EQ(read(elf), std::nullopt);
    elf = Elf();
    elf.header.e_ident[EI_DATA] = ELFDATA2MSB;
    EXPECT_EQ(read(elf), std::nullopt);
    elf = Elf();
    elf.header.e_ident[0] = 'M';
    EXPECT_EQ(read(elf), std::nullopt);
    elf = Elf();
    elf.header.e_shentsize = sizeof(Elf64_Shdr) - 1;
    EXPECT_EQ(read(elf), std::nullopt);
}

TEST_F(ElfSection, IsNothingWhereTheTableOfSectionsIsNotInTheFile) {
    for (const std::uint64_t offset : {std::uint64_t{100000}, UINT64_MAX, UINT64_MAX - 63, std::uint64_t{1} << 63}) {
        Elf elf;
        elf.header.e_shoff = offset;
        EXPECT_EQ(read(elf), std::nullopt) << offset;
    }
    for (const std::uint16_t count : {0, 1, 4, 4097, 65535}) {
        Elf elf;
        elf.header.e_shnum = count;
        EXPECT_EQ(read(elf), std::nullopt) << count;
    }
}

TEST_F(ElfSection, IsNothingWhereTheNamesAreNotInTheFile) {
    for (const std::uint16_t index : {0, 2, 3, 65535}) {
        Elf elf;
        elf.header.e_shstrndx = index;
        EXPECT_EQ(read(elf), std::nullopt) << index;
    }
    for (const std::uint64_t offset : {std::uint64_t{100000}, UINT64_MAX, UINT64_MAX - 7, UINT64_MAX - 8}) {
        Elf elf;
        elf.sections[1].sh_offset = offset;
        EXPECT_EQ(read(elf), std::nullopt) << offset;
    }
    for (const std::uint32_t name : {7U, 9U, 20U, 21U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        Elf elf;
        elf.sections[2].sh_name = name;
        EXPECT_EQ(read(elf), std::nullopt) << name;
    }
    Elf elf;
    elf.sections[1].sh_size = 20;
    EXPECT_EQ(read(elf), std::nullopt) << "the name's terminator is outside the table";
}

TEST_F(ElfSection, IsNothingWhereItsContentsAreNotInTheFileOrTooMany) {
    for (const std::uint64_t offset : {std::uint64_t{100000}, UINT64_MAX, UINT64_MAX - 4}) {
        Elf elf;
        elf.sections[2].sh_offset = offset;
        EXPECT_EQ(read(elf), std::nullopt) << offset;
    }
    for (const std::uint64_t size : {std::uint64_t{3000}, std::uint64_t{4097}, UINT64_MAX}) {
        Elf elf;
        elf.sections[2].sh_size = size;
        EXPECT_EQ(read(elf), std::nullopt) << size;
    }
    Elf elf;
    elf.sections[2].sh_type = SHT_NOBITS;
    EXPECT_EQ(read(elf), std::nullopt);
}

TEST_F(ElfSection, MayHaveExactlyTheLimit) {
    Elf elf;
    elf.contents = std::string(kLimit, 'x');
    elf.sections[2].sh_size = kLimit;
    elf.header.e_shoff = sizeof elf.header + elf.names.size() + kLimit;
    EXPECT_EQ(read(elf), elf.contents);
}

TEST_F(ElfSection, IsNotWaitedForInAPipe) {
    const std::string pipe = (m_folder.path() / "pipe").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(platform::readElfSection(pipe, kName, kLimit), std::nullopt);
    EXPECT_EQ(platform::readElfSection("/dev/zero", kName, kLimit), std::nullopt);
}

} // namespace
