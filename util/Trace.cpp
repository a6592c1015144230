#include "util/Trace.h"

#include <exception>

Trace::Trace(const wchar_t* method, Lines lines, const wchar_t* scope)
    : m_pScope(scope), m_pMethod(method), m_exceptions(std::uncaught_exceptions()), m_hasExit(lines != Lines::None) {
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

void Trace::writeText(TraceLevel level, const Zel::TString& tail) const {
    rylogLog(kModuleName, static_cast<std::uint32_t>(level), L"%ws%ws%ws", m_pScope, m_pMethod, tail.c_str());
}

void Trace::writeDump(TraceLevel level, std::span<const std::uint8_t> bytes, const Zel::TString& tail) const {
    rylogLogBin(kModuleName, static_cast<std::uint32_t>(level), bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                L"%ws%ws%ws", m_pScope, m_pMethod, tail.c_str());
}
