#include <sstream>
#include <string>

#include "host/view/LibraryHeader.h"
#include "tests/fuzz/Input.h"
#include "tests/fuzz/Targets.h"

// Any bytes as the file of a module: its header is read, whatever it announces, and what is read is bounded.

namespace {

using Fuzz::require;

constexpr std::size_t kMost = 512;
constexpr std::size_t kLongest = 1024;

void checkNames(const std::vector<std::string>& names, const std::string& file) {
    require(names.size() <= kMost, "the names are bounded");
    for (const std::string& name : names) {
        require(name.size() < kLongest, "a name is bounded");
        require(file.find(name) != std::string::npos, "a name is in the file");
    }
}

} // namespace

void Fuzz::library(const std::uint8_t* data, std::size_t size) {
    const std::string file(reinterpret_cast<const char*>(data), size);
    std::istringstream stream(file);
    const host::LibraryHeader header = host::readLibraryHeader(stream);
    checkNames(header.needed, file);
    checkNames(header.searched, file);
    const bool isLibrary = header.format == "ELF" || header.format == "PE";
    require(isLibrary == (header.bits == 32 || header.bits == 64), "a library has a width, and nothing else has");
    require(isLibrary == !header.machine.empty(), "a library has a machine, and nothing else has");
    require(host::describe(header).find(header.format) == 0 && !header.format.empty(), "every file is something");
    require(host::isForSystemOf(header, header) == header.isLibrary, "a library is for its own system");
    std::istringstream again(file);
    require(host::describe(host::readLibraryHeader(again)) == host::describe(header), "a file has one description");
}
