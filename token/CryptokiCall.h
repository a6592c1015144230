#pragma once

#include "token/Cryptoki.h"

namespace plugin {

/// How the trace announces a call and reports its failure. Methods differ, and hosts' tools know the differences.
struct CallStyle {
    enum class Announcement {
        Usual,  ///< ": C_X"
        Spaced, ///< " : C_X"
        None,   ///< neither the call nor its inputs
    };
    enum class Failure {
        Usual,    ///< " : C_X 0x… : failed"
        Tight,    ///< ": C_X 0x… : failed"
        Lifetime, ///< " : C_X failed 0x…", at the beginning and the end of an executor
        None,     ///< the caller reports it
    };

    Announcement announcement = Announcement::Usual;
    const wchar_t* detail = L""; ///< behind the function's name in the announcement
    Failure failure = Failure::Usual;
    CK_RV tolerated = CKR_OK; ///< one more result that is not a failure
    TraceLevel inputs = TraceLevel::Value;
};

inline constexpr CallStyle kTight{.failure = CallStyle::Failure::Tight};
inline constexpr CallStyle kSpaced{.announcement = CallStyle::Announcement::Spaced};
inline constexpr CallStyle kUnreported{.failure = CallStyle::Failure::None};
inline constexpr CallStyle kUnannounced{.announcement = CallStyle::Announcement::None};
inline constexpr CallStyle kLifetime{.failure = CallStyle::Failure::Lifetime};

/// One traced call: the constructor traces the announcement, `in` and `note` the inputs, and `run` calls the module and
/// traces a failure.
///
///     const CK_RV rv = CryptokiCall(module, trace, cryptoki::getTokenInfo, kTight)
///                          .in(L"SlotID", slotID)
///                          .run(slotID, &info);
template <auto Member>
class CryptokiCall {
public:
    CryptokiCall(const Cryptoki& module, const Trace& trace, CryptokiFunction<Member> function, CallStyle style = {})
        : m_module(module), m_trace(trace), m_function(function), m_style(style) {
        announce();
    }

    /// Repeats the announcement, for methods that trace it after their inputs too.
    void announce() const {
        switch (m_style.announcement) {
        case CallStyle::Announcement::Usual:
            return m_trace.write(TraceLevel::Call, L": %ws%ws", m_function.name, m_style.detail);
        case CallStyle::Announcement::Spaced:
            return m_trace.write(TraceLevel::Call, L" : %ws%ws", m_function.name, m_style.detail);
        case CallStyle::Announcement::None:
            return;
        }
    }

    CryptokiCall& in(const wchar_t* name, std::uint64_t value) { return note(L": --> %ws=0x%x", name, value); }
    /// An input line of another form; `tail` begins with the arrow.
    template <class... Args>
    CryptokiCall& note(const wchar_t* tail, const Args&... args) {
        if (m_style.announcement != CallStyle::Announcement::None) {
            m_trace.write(m_style.inputs, tail, args...);
        }
        return *this;
    }

    template <class... Args>
    [[nodiscard]] CK_RV run(Args... args) const {
        const CK_RV rv = m_module.call(m_function, args...);
        if (rv != CKR_OK && rv != m_style.tolerated) {
            fail(rv);
        }
        return rv;
    }

    /// Traces a failure that the caller found in the module's output. Returns `rv`.
    CK_RV fail(CK_RV rv) const {
        switch (m_style.failure) {
        case CallStyle::Failure::Usual:
            m_trace.failed(m_function.name, rv);
            break;
        case CallStyle::Failure::Tight:
            m_trace.failedTight(m_function.name, rv);
            break;
        case CallStyle::Failure::Lifetime:
            m_trace.failure(L" : %ws failed 0x%x", m_function.name, rv);
            break;
        case CallStyle::Failure::None:
            break;
        }
        return rv;
    }

private:
    const Cryptoki& m_module;
    const Trace& m_trace;
    CryptokiFunction<Member> m_function;
    CallStyle m_style;
};

} // namespace plugin
