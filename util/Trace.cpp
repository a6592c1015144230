#include "util/Trace.h"

#include <exception>

Trace::Trace(const wchar_t* method, Lines lines, const wchar_t* scope)
    : m_pScope(scope), m_pMethod(method), m_hasExit(lines != Lines::None && isEnabled(TraceLevel::Exit)) {
    if (m_hasExit) {
        m_exceptions = std::uncaught_exceptions();
    }
    if (lines == Lines::EntryAndExit) {
        writePlain(TraceLevel::Entry);
    }
}

Trace::~Trace() {
    if (m_hasExit && std::uncaught_exceptions() == m_exceptions) {
        writePlain(TraceLevel::Exit);
    }
}

void Trace::announce(const wchar_t* function) const {
    if (isEnabled(TraceLevel::Call)) {
        rylogLog(kModuleName, static_cast<std::uint32_t>(TraceLevel::Call), L"%ws%ws: %ws", m_pScope, m_pMethod,
                 function);
    }
}

void Trace::input(const wchar_t* name, std::uint64_t value) const {
    writeNumber(TraceLevel::Value, L"%ws%ws: --> %ws=0x%x", name, value);
}

void Trace::output(const wchar_t* name, std::uint64_t value) const {
    writeNumber(TraceLevel::Value, L"%ws%ws: <-- %ws=0x%x", name, value);
}

void Trace::failed(const wchar_t* function, std::uint64_t resultCode) const {
    writeNumber(TraceLevel::Failure, L"%ws%ws : %ws 0x%02x : failed", function, resultCode);
}

void Trace::failedTight(const wchar_t* function, std::uint64_t resultCode) const {
    writeNumber(TraceLevel::Failure, L"%ws%ws: %ws 0x%02x : failed", function, resultCode);
}

void Trace::writeNumber(TraceLevel level, const wchar_t* format, const wchar_t* name, std::uint64_t value) const {
    if (isEnabled(level)) {
        rylogLog(kModuleName, static_cast<std::uint32_t>(level), format, m_pScope, m_pMethod, name,
                 static_cast<unsigned int>(value));
    }
}

void Trace::writePlain(TraceLevel level) const {
    if (isEnabled(level)) {
        rylogLog(kModuleName, static_cast<std::uint32_t>(level), L"%ws%ws", m_pScope, m_pMethod);
    }
}

Trace::Format::Format(const Trace& trace, const wchar_t* tail) {
    wchar_t* target = text;
    for (const wchar_t* part : {trace.m_pScope, trace.m_pMethod, tail}) {
        // Names and tails are literals of ours, without room for a surprise; one that were longer is cut.
        while (*part != L'\0' && target < text + kRoom - 1) {
            *target++ = *part++;
        }
    }
    *target = L'\0';
}
