#include "platform/Process.h"

#include <algorithm>
#include <cstdlib>
#include <windows.h>

#include <shellapi.h>

#include "platform/Encoding.h"
#include "platform/SecureZero.h"

// mingw-w64's werapi.h, which declares it, does not compile.
extern "C" __declspec(dllimport) HRESULT WINAPI WerSetFlags(DWORD flags);

namespace platform {

namespace {

std::string utf8(const wchar_t* text, std::size_t length) {
    std::string result(wideToUtf8(text, length, nullptr, 0), '\0');
    [[maybe_unused]] const std::size_t written = wideToUtf8(text, length, result.data(), result.size());
    return result;
}

/// The largest environment variable that Windows allows.
constexpr DWORD kLargestVariable = 32768;

} // namespace

std::vector<std::string> commandLineArguments(int, char**) {
    std::vector<std::string> arguments;
    int count = 0;
    LPWSTR* words = CommandLineToArgvW(GetCommandLineW(), &count);
    for (int i = 1; words != nullptr && i < count; ++i) {
        arguments.push_back(utf8(words[i], static_cast<std::size_t>(lstrlenW(words[i]))));
    }
    LocalFree(words);
    return arguments;
}

std::optional<std::size_t> environmentVariable(const char* name, char* target, std::size_t room) noexcept {
    wchar_t wideName[256];
    const std::size_t nameLength = utf8ToWide(name, std::char_traits<char>::length(name), wideName, 255);
    wideName[nameLength] = L'\0';
    wchar_t value[kLargestVariable];
    SetLastError(ERROR_SUCCESS);
    const DWORD length = GetEnvironmentVariableW(wideName, value, kLargestVariable);
    if (nameLength == 0 || length >= kLargestVariable || (length == 0 && GetLastError() != ERROR_SUCCESS)) {
        return std::nullopt;
    }
    const std::size_t needed = wideToUtf8(value, length, nullptr, 0);
    if (target != nullptr && needed <= room) {
        [[maybe_unused]] const std::size_t written = wideToUtf8(value, length, target, room);
    }
    secureZero(value, sizeof value);
    return needed;
}

void removeEnvironmentVariable(const char* name) noexcept {
    wchar_t wideName[256];
    const std::size_t nameLength = utf8ToWide(name, std::char_traits<char>::length(name), wideName, 255);
    wideName[nameLength] = L'\0';
    // Of the same length, the system writes it over the old one.
    wchar_t zeros[kLargestVariable];
    const DWORD length = GetEnvironmentVariableW(wideName, zeros, kLargestVariable);
    std::fill_n(zeros, length < kLargestVariable ? length : 0, L'0');
    SetEnvironmentVariableW(wideName, zeros);
    SetEnvironmentVariableW(wideName, nullptr);
    secureZero(zeros, sizeof zeros);
    // The runtime has a copy of its own.
    if (char* const copy = std::getenv(name); copy != nullptr) {
        secureZero(copy, std::char_traits<char>::length(copy));
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
    return length < path.size() ? utf8(path.data(), length) : std::string();
}

void ignoreBrokenPipes() noexcept {
    // Windows has no such signal: writing to a closed pipe just fails.
}

} // namespace platform
