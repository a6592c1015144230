#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>
#include <string_view>

namespace Fuzz {

/// Ends the process, so that the fuzzer keeps the input, when something does not hold. `what` says what ought to.
inline void require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "does not hold: %s\n", what);
        std::fflush(stderr);
        std::abort();
    }
}

/// The fuzzer's bytes, taken from the front as choices, numbers and texts. Used up, everything is zero or empty.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : m_rest(reinterpret_cast<const char*>(data), size) {}

    [[nodiscard]] bool isEmpty() const { return m_rest.empty(); }

    std::uint8_t byte() {
        if (m_rest.empty()) {
            return 0;
        }
        const auto taken = static_cast<std::uint8_t>(m_rest.front());
        m_rest.remove_prefix(1);
        return taken;
    }
    bool boolean() { return (byte() & 1) != 0; }
    /// 0 to `limit` - 1; `limit` is 1 to 256.
    std::size_t below(std::size_t limit) { return byte() % limit; }

    /// One of a list.
    template <class T, std::size_t N>
    const T& oneOf(const T (&list)[N]) {
        static_assert(N <= 256);
        return list[below(N)];
    }

    /// Any value of an integer type: often a border, else as many bytes as it has.
    template <class T>
    T number() {
        const std::uint8_t choice = byte();
        if (choice < 0xC0) {
            return static_cast<T>(choice);
        }
        if (choice < 0xD0) {
            constexpr T kBorders[] = {0,
                                      1,
                                      static_cast<T>(-1),
                                      std::numeric_limits<T>::max(),
                                      std::numeric_limits<T>::min(),
                                      std::numeric_limits<T>::max() - 1,
                                      std::numeric_limits<T>::max() / 2 + 1,
                                      static_cast<T>(0x80)};
            return kBorders[choice % 8];
        }
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < sizeof(T); ++i) {
            value = value << 8 | byte();
        }
        return static_cast<T>(value);
    }

    /// At most `most` bytes, below 256, how many is a choice.
    std::string bytes(std::size_t most) {
        const std::size_t count = below(most + 1);
        const std::string taken(m_rest.substr(0, count));
        m_rest.remove_prefix(taken.size());
        return taken;
    }
    std::string rest() {
        const std::string taken(m_rest);
        m_rest = {};
        return taken;
    }

    /// One character: a byte below 0xC0 as it stands, else any unit of this system's wide text.
    wchar_t character() {
        const std::uint32_t first = byte();
        if (first < 0xC0) {
            return static_cast<wchar_t>(first);
        }
        std::uint32_t unit = (first - 0xC0) << 8 | byte();
        if (first >= 0xF0) {
            unit = unit << 16 | static_cast<std::uint32_t>(byte()) << 8 | byte();
        } else if (first >= 0xE0) {
            unit = unit << 3 | (byte() & 7U);
        }
        return static_cast<wchar_t>(unit);
    }
    std::wstring text(std::size_t most) {
        std::wstring taken;
        for (std::size_t count = below(most + 1); count > 0; --count) {
            taken += character();
        }
        return taken;
    }
    std::wstring restAsText() {
        std::wstring taken;
        while (!isEmpty()) {
            taken += character();
        }
        return taken;
    }

private:
    std::string_view m_rest;
};

} // namespace Fuzz
