#pragma once

#include <cstdint>
#include <span>
#include <type_traits>

#include "ry/rylog.h"
#include "zel/TString.h"

namespace plugin {

/// Levels of the trace; each message has exactly one.
enum class TraceLevel : std::uint32_t {
    Failure = 1, ///< failed call, bad parameter, precondition not met
    Call = 2,    ///< a Cryptoki call about to be made
    Value = 4,   ///< input, output or intermediate value
    Entry = 8,   ///< entry into a method
    Exit = 16,   ///< exit from a method
};

/// The trace of one method: knows the method's name and writes the common message patterns. Every message begins with
/// the class and the method. No text is built while its level is disabled. Nothing here throws.
///
/// `traced` below writes the lines at the entry and the exit of a method:
///
///     CK_RV Session::closeSession() {
///         return traced(L"closeSession", [this](const Trace& trace) { return isOpen() ? close(trace) : CKR_OK; });
///     }
class Trace {
public:
    static constexpr const wchar_t* kModuleName = L"ZEL-COE-PKCS11";
    static constexpr const wchar_t* kExecutor = L"PKCS11Client::";
    static constexpr const wchar_t* kExports = L"zel-coe-pkcs11::";

    explicit Trace(const wchar_t* method, const wchar_t* scope = kExecutor) : m_pScope(scope), m_pMethod(method) {}
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;
    Trace(Trace&&) = delete;
    Trace& operator=(Trace&&) = delete;
    ~Trace() = default;

    /// The entry line.
    void enter() const { writeWhole(TraceLevel::Entry, kName); }
    /// The exit line.
    void leave() const { writeWhole(TraceLevel::Exit, kName); }

    [[nodiscard]] static bool isEnabled(TraceLevel level) { return rylogIsEnabled(static_cast<std::uint32_t>(level)); }

    /// Writes the method's name followed by `tail`, a printf-style wide format. Numbers print as 32-bit values (`%x`,
    /// `%d`, `%u`), wider ones their low 32 bits. Texts are wide strings or TStrings (`%ws`).
    template <class... Args>
    void write(TraceLevel level, const wchar_t* tail, const Args&... args) const {
        if (isEnabled(level)) {
            rylogLog(kModuleName, static_cast<std::uint32_t>(level), Format(tail).text, m_pScope, m_pMethod,
                     printable(args)...);
        }
    }

    template <class... Args>
    void failure(const wchar_t* tail, const Args&... args) const {
        write(TraceLevel::Failure, tail, args...);
    }

    /// As write, with a dump of bytes after the text.
    template <class... Args>
    void dump(TraceLevel level, std::span<const std::uint8_t> bytes, const wchar_t* tail, const Args&... args) const {
        if (isEnabled(level)) {
            rylogLogBin(kModuleName, static_cast<std::uint32_t>(level), bytes.data(),
                        static_cast<std::uint32_t>(bytes.size()), Format(tail).text, m_pScope, m_pMethod,
                        printable(args)...);
        }
    }

    /// ": <-- name=0x…"
    void output(const wchar_t* name, std::uint64_t value) const { writeWhole(TraceLevel::Value, kOutput, name, value); }
    /// " : C_X 0x… : failed"
    void failed(const wchar_t* function, std::uint64_t resultCode) const {
        writeWhole(TraceLevel::Failure, kFailed, function, resultCode);
    }
    /// ": C_X 0x… : failed"
    void failedTight(const wchar_t* function, std::uint64_t resultCode) const {
        writeWhole(TraceLevel::Failure, kFailedTight, function, resultCode);
    }

private:
    static const wchar_t kName[];
    static const wchar_t kOutput[];
    static const wchar_t kFailed[];
    static const wchar_t kFailedTight[];

    /// The pattern of the method's name followed by a tail. Needs no heap, so that tracing cannot fail.
    struct Format {
        explicit Format(const wchar_t* tail);
        static constexpr std::size_t kRoom = 320;
        wchar_t text[kRoom];
    };

    template <class T>
    static auto printable(const T& value) {
        if constexpr (std::is_same_v<T, Zel::TString>) {
            return value.c_str();
        } else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>) {
            return static_cast<unsigned int>(value);
        } else {
            return value;
        }
    }

    /// A line whose format begins with the pattern of the method's name.
    template <class... Args>
    void writeWhole(TraceLevel level, const wchar_t* format, const Args&... args) const {
        if (isEnabled(level)) {
            rylogLog(kModuleName, static_cast<std::uint32_t>(level), format, m_pScope, m_pMethod, printable(args)...);
        }
    }

    const wchar_t* m_pScope;
    const wchar_t* m_pMethod;
};

/// Runs the body of a method that has an exit line and no entry line. When an exception leaves the body, there is no
/// exit line either. Returns what the body returns.
template <class Body>
auto tracedExit(const Trace& trace, Body body) {
    if constexpr (std::is_void_v<std::invoke_result_t<Body, const Trace&>>) {
        body(trace);
        trace.leave();
    } else {
        auto result = body(trace);
        trace.leave();
        return result;
    }
}

/// The same between an entry line and the exit line.
template <class Body>
auto traced(const Trace& trace, Body body) {
    trace.enter();
    return tracedExit(trace, body);
}

template <class Body>
auto tracedExit(const wchar_t* method, Body body) {
    return tracedExit(Trace(method), body);
}

template <class Body>
auto traced(const wchar_t* method, Body body) {
    return traced(Trace(method), body);
}

} // namespace plugin
