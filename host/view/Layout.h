#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "cryptoki/cryptoki.h"
#include "platform/ExecutableMemory.h"

// How a module lays out its structures. The standard leaves the width of CK_ULONG and the padding to the compiler: on
// Windows 32 bits and packed, on Linux 64 bits and unpacked. A module that was built otherwise reads and writes beside
// every field, and its function list leads nowhere.

namespace host {

/// What the addresses in a function list say about it.
enum class ListLayout {
    Own,     ///< each entry leads to code, or is a hole
    Foreign, ///< the entries lead to code when the list is taken as packed (on Windows: unpacked)
    Unknown, ///< some lead nowhere in either form
};
[[nodiscard]] ListLayout layoutOfList(const CK_FUNCTION_LIST* list, const platform::ExecutableMemory& memory);

/// A buffer for C_GetInfo with room for every layout. The call is made twice, over two patterns: a byte that keeps both
/// patterns was not written.
///
///     InfoProbe probe;
///     for (const bool second : {false, true}) { rv = C_GetInfo(probe.prepare(second)); }
///     const std::string layout = probe.foreignLayout();
class InfoProbe {
public:
    static constexpr std::size_t kRoom = 256;

    /// The buffer, filled with the first or the second pattern.
    [[nodiscard]] CK_INFO* prepare(bool second) noexcept;

    /// "packed, CK_ULONG of 32 bits" where the fields stand as in another layout than ours and not as in ours; empty
    /// otherwise.
    [[nodiscard]] std::string foreignLayout() const;
    /// Returns true when all fields are written where ours stand, and nothing behind them.
    [[nodiscard]] bool isOurs() const;
    /// The structure as it came at the second call.
    [[nodiscard]] const CK_INFO& info() const noexcept { return m_second.info; }

private:
    union Buffer {
        CK_INFO info;
        std::array<unsigned char, kRoom> bytes;
    };

    struct Shape {
        const char* name;
        std::size_t word, flags, description, version, size;
    };
    static const std::array<Shape, 4> kShapes;
    [[nodiscard]] static bool isOwn(const Shape& shape) noexcept;
    [[nodiscard]] bool isWritten(std::size_t place) const noexcept;
    [[nodiscard]] bool fits(const Shape& shape) const;
    [[nodiscard]] bool reads(const Shape& shape) const;

    Buffer m_first{};
    Buffer m_second{};
};

/// "packed, CK_ULONG of 32 bits": the layout of this program.
[[nodiscard]] std::string ownLayout();

} // namespace host
