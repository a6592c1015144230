#include "util/Trace.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

namespace plugin {

const wchar_t Trace::kName[] = L"%ws%ws";
const wchar_t Trace::kOutput[] = L"%ws%ws: <-- %ws=0x%x";
const wchar_t Trace::kFailed[] = L"%ws%ws : %ws 0x%02x : failed";
const wchar_t Trace::kFailedTight[] = L"%ws%ws: %ws 0x%02x : failed";

Trace::Format::Format(const wchar_t* tail) {
    wchar_t* const behind = std::copy_n(kName, std::size(kName) - 1, text);
    // Tails are short literals; a longer one is truncated.
    const std::size_t length = std::min(std::wcslen(tail), static_cast<std::size_t>(std::end(text) - behind) - 1);
    *std::copy_n(tail, length, behind) = L'\0';
}

} // namespace plugin
