#include "platform/posix/ElfSection.h"

#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <vector>

namespace platform {

namespace {

constexpr unsigned char kByteOrder = std::endian::native == std::endian::little ? ELFDATA2LSB : ELFDATA2MSB;
/// Ordinary libraries have some forty sections.
constexpr std::size_t kMostSections = 4096;

/// A regular file, read at chosen offsets. It is not mapped, because truncating a mapped file kills the process.
class File {
public:
    explicit File(const std::string& name) noexcept
        // The name may belong to a pipe or a device: opening it must not wait.
        : m_descriptor(::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {
        struct stat status {};
        if (m_descriptor >= 0 && fstat(m_descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
            m_size = static_cast<std::uint64_t>(status.st_size);
        }
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() {
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
        }
    }

    /// Returns false when the file does not have all of these bytes.
    [[nodiscard]] bool read(std::uint64_t offset, void* target, std::size_t count) const noexcept {
        if (offset > m_size || count > m_size - offset) {
            return false;
        }
        auto* to = static_cast<char*>(target);
        while (count != 0) {
            const ssize_t got = pread(m_descriptor, to, count, static_cast<off_t>(offset));
            if (got <= 0) {
                return false;
            }
            to += got;
            offset += static_cast<std::uint64_t>(got);
            count -= static_cast<std::size_t>(got);
        }
        return true;
    }

private:
    int m_descriptor;
    std::uint64_t m_size = 0;
};

bool isUsable(const Elf64_Ehdr& header) noexcept {
    return std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 && header.e_ident[EI_CLASS] == ELFCLASS64 &&
           header.e_ident[EI_DATA] == kByteOrder && header.e_shentsize == sizeof(Elf64_Shdr) && header.e_shnum != 0 &&
           header.e_shnum <= kMostSections && header.e_shstrndx < header.e_shnum;
}

/// Returns true when the text at `offset` of the table of names is `name` with its terminator.
bool hasName(const File& file, const Elf64_Shdr& names, std::uint64_t offset, std::string_view name) {
    if (offset >= names.sh_size || names.sh_size - offset <= name.size()) {
        return false;
    }
    std::string found(name.size() + 1, '\0');
    return names.sh_offset <= UINT64_MAX - offset && file.read(names.sh_offset + offset, found.data(), found.size()) &&
           found.back() == '\0' && found.compare(0, name.size(), name) == 0;
}

} // namespace

std::optional<std::string> readElfSection(const std::string& fileName, std::string_view name, std::size_t limit) {
    const File file(fileName);
    Elf64_Ehdr header;
    if (!file.read(0, &header, sizeof header) || !isUsable(header)) {
        return std::nullopt;
    }
    std::vector<Elf64_Shdr> sections(header.e_shnum);
    if (!file.read(header.e_shoff, sections.data(), sections.size() * sizeof(Elf64_Shdr))) {
        return std::nullopt;
    }
    for (const Elf64_Shdr& section : sections) {
        if (section.sh_type != SHT_PROGBITS || !hasName(file, sections[header.e_shstrndx], section.sh_name, name)) {
            continue;
        }
        std::string contents(section.sh_size <= limit ? section.sh_size : 0, '\0');
        const bool isRead = section.sh_size <= limit && file.read(section.sh_offset, contents.data(), contents.size());
        return isRead ? std::optional(std::move(contents)) : std::nullopt;
    }
    return std::nullopt;
}

} // namespace platform
