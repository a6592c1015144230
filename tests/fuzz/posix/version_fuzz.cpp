#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "platform/posix/ElfSection.h"
#include "platform/posix/VersionRecord.h"
#include "tests/fuzz/Input.h"
#include "tests/fuzz/Targets.h"

namespace {

using Fuzz::require;

/// A file in memory under a name of its own.
class File {
public:
    explicit File(std::string_view contents) : m_descriptor(memfd_create("fuzz", MFD_CLOEXEC)) {
        require(m_descriptor >= 0, "a file can be made");
        require(write(m_descriptor, contents.data(), contents.size()) == static_cast<ssize_t>(contents.size()),
                "and written");
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() { close(m_descriptor); }

    [[nodiscard]] std::string name() const { return "/proc/self/fd/" + std::to_string(m_descriptor); }

private:
    int m_descriptor;
};

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> list;
    std::size_t start = 0;
    for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
        list.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return list;
}

void checkRecord(const std::string& section) {
    const std::optional<platform::VersionRecord> record = platform::VersionRecord::parse(section);
    if (!record) {
        return;
    }
    const std::string text(section.c_str());
    require(text.size() <= platform::kLargestVersionRecord && text.starts_with("zel-version 1\n"),
            "a record has a size and a first line");
    const std::vector<std::string> all = lines(text);
    for (std::size_t i = 1; i < all.size(); ++i) {
        const std::string key = all[i].substr(0, all[i].find('='));
        require(!key.empty() && key != all[i], "every line is key and value");
        std::size_t first = 1;
        while (all[first].substr(0, all[first].find('=')) != key) {
            ++first;
        }
        require(record->value(key) == all[first].substr(key.size() + 1), "a value is that of the first line");
    }
    const std::optional<std::string_view> translation = record->value("Translation");
    require(translation && std::stoul(std::string(*translation), nullptr, 16) == record->translation(),
            "the translation is the number that stands there");
    if (const auto version = record->fileVersion()) {
        for (const std::uint32_t part : *version) {
            require(part <= 0xFFFF, "a part of a version has 16 bits");
        }
    }
    require(!record->value("no such key").has_value() || text.find("no such key=") != std::string::npos,
            "a key that is not there has no value");
}

void checkFile(const std::string& contents, std::size_t limit) {
    const File file(contents);
    const auto section = platform::readElfSection(file.name(), platform::kVersionSection, limit);
    if (section) {
        require(section->size() <= limit, "a section keeps to the limit");
        require(contents.find(*section) != std::string::npos, "a section stands in its file");
        checkRecord(*section);
    }
}

} // namespace

void Fuzz::version(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const bool isFile = input.boolean();
    const std::size_t limit = input.boolean() ? platform::kLargestVersionRecord : input.byte();
    const std::string contents = input.rest();
    if (isFile) {
        checkFile(contents, limit);
    } else {
        checkRecord(contents);
    }
}
