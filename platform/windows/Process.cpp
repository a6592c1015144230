#include "platform/Process.h"

#include <algorithm>
#include <cstdlib>
#include <windows.h>

#include <shellapi.h>

#include "text/SecureZero.h"
#include "text/Utf8.h"

// mingw-w64's werapi.h, which declares it, does not compile.
extern "C" __declspec(dllimport) HRESULT WINAPI WerSetFlags(DWORD flags);

namespace platform {

namespace {

/// The largest environment variable that Windows allows.
constexpr DWORD kLargestVariable = 32768;

} // namespace

std::vector<std::string> commandLineArguments(int, char**) {
    std::vector<std::string> arguments;
    int count = 0;
    LPWSTR* words = CommandLineToArgvW(GetCommandLineW(), &count);
    for (int i = 1; words != nullptr && i < count; ++i) {
        arguments.push_back(text::toUtf8(words[i]));
    }
    LocalFree(words);
    return arguments;
}

std::optional<WipedBytes> environmentVariable(const char* name) {
    const std::wstring wideName = text::toWide(name);
    SetLastError(ERROR_SUCCESS);
    WipedText wide(GetEnvironmentVariableW(wideName.c_str(), nullptr, 0));
    if (wide.empty() && GetLastError() != ERROR_SUCCESS) {
        return std::nullopt;
    }
    wide.resize(GetEnvironmentVariableW(wideName.c_str(), wide.data(), static_cast<DWORD>(wide.size())));
    WipedBytes value(text::wideToUtf8(wide.data(), wide.size(), nullptr, 0));
    value.resize(text::wideToUtf8(wide.data(), wide.size(), value.data(), value.size()));
    return value;
}

void setEnvironmentVariable(const char* name, const std::string& value) {
    SetEnvironmentVariableW(text::toWide(name).c_str(), text::toWide(value).c_str());
}

void removeEnvironmentVariable(const char* name) noexcept {
    wchar_t wideName[256];
    const std::size_t nameLength = text::utf8ToWide(name, std::char_traits<char>::length(name), wideName, 255);
    wideName[nameLength] = L'\0';
    // The system writes a value of the same length over the old one.
    wchar_t zeros[kLargestVariable];
    const DWORD length = GetEnvironmentVariableW(wideName, zeros, kLargestVariable);
    std::fill_n(zeros, length < kLargestVariable ? length : 0, L'0');
    SetEnvironmentVariableW(wideName, zeros);
    SetEnvironmentVariableW(wideName, nullptr);
    text::secureZero(zeros, sizeof zeros);
    // The runtime has a copy of its own.
    if (char* const copy = std::getenv(name); copy != nullptr) {
        text::secureZero(copy, std::char_traits<char>::length(copy));
        _putenv_s(name, "");
    }
}

void keepMemoryPrivate() noexcept {
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    constexpr DWORD kNoHeapInReports = 1; // WER_FAULT_REPORTING_FLAG_NOHEAP
    WerSetFlags(kNoHeapInReports);
}

std::string executablePath() {
    std::wstring path(32768, L'\0');
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return length < path.size() ? text::toUtf8({path.data(), length}) : std::string();
}

void ignoreBrokenPipes() noexcept {
    // Windows has no such signal: writing to a closed pipe just fails.
}

} // namespace platform
