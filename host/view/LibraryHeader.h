#pragma once

#include <istream>
#include <optional>
#include <string>
#include <vector>

namespace host {

/// What the first bytes of a library's file say, of whatever system it is. The file may be anything: what it announces
/// is bounded, and what does not fit into it is left out.
struct LibraryHeader {
    std::string format;                ///< "ELF", "PE", or what else it is: "text", "Mach-O", "empty", "folder" …
    unsigned int bits = 0;             ///< 32 or 64; 0 where the format does not say
    std::string machine;               ///< "x86-64", "AArch64" …, "machine 0x1234" for an unknown one
    bool isLibrary = false;            ///< a shared object or a DLL
    std::vector<std::string> needed;   ///< the libraries that it names, 512 at most
    std::vector<std::string> searched; ///< ELF: the folders that it names for them, "$ORIGIN" as it stands
};

[[nodiscard]] LibraryHeader readLibraryHeader(std::istream& file);
/// The same for the file with this UTF-8 name; nullopt when it cannot be opened. Only a regular file is opened.
[[nodiscard]] std::optional<LibraryHeader> libraryHeaderOf(const std::string& path);

/// "ELF, 64 bits, x86-64"; for what is no library, "text".
[[nodiscard]] std::string describe(const LibraryHeader& header);
/// Returns true when a process that was loaded from a file with the header `own` can load the library.
[[nodiscard]] bool isForSystemOf(const LibraryHeader& library, const LibraryHeader& own);

} // namespace host
