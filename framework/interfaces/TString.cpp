#include "zel/TString.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <new>
#include <string_view>
#include <utility>

#include "text/SecureZero.h"
#include "text/WideFormat.h"
#include "zel/Allocator.h"

// Every character after the text, up to the capacity, is zero at all times: only characters that leave the text have to
// be wiped, and the terminator is always there.
//
// Long texts are shared between copies: parameters are copied from host to operation, and answers from script to
// response. Only their single owner may change characters on the heap.

namespace Zel {
namespace {

void wipe(wchar_t* text, std::size_t length) noexcept {
    if (length != 0) {
        text::secureZero(text, length * sizeof(wchar_t));
    }
}

std::size_t givenLength(const wchar_t* text, int length) noexcept {
    if (text == nullptr) {
        return 0;
    }
    return length < 0 ? std::wcslen(text) : static_cast<std::size_t>(length);
}

std::wstring_view viewOf(const TString& text) noexcept {
    return {text.data(), text.length()};
}

std::wstring_view viewOf(const wchar_t* text) noexcept {
    return {text == nullptr ? L"" : text};
}

// Independent of the locale: "DLLNAME" must not change its meaning on a Turkish system.
wchar_t toLower(wchar_t character) noexcept {
    return character >= L'A' && character <= L'Z' ? static_cast<wchar_t>(character - L'A' + L'a') : character;
}

int compareLower(std::wstring_view a, std::wstring_view b) noexcept {
    const std::size_t common = std::min(a.length(), b.length());
    for (std::size_t i = 0; i < common; ++i) {
        if (a[i] == b[i]) {
            continue;
        }
        const wchar_t left = toLower(a[i]);
        const wchar_t right = toLower(b[i]);
        if (left != right) {
            return left < right ? -1 : 1;
        }
    }
    return a.length() == b.length() ? 0 : (a.length() < b.length() ? -1 : 1);
}

/// Stands before characters on the heap. Copies of a text may belong to different threads.
struct Owners {
    std::atomic<std::size_t> count;
    TString::Content content;
};

Owners* ownersOf(wchar_t* characters) noexcept {
    return reinterpret_cast<Owners*>(characters) - 1;
}

/// Allocates room for `capacity` characters and the terminator, for one owner. The characters are not set.
wchar_t* newCharacters(std::size_t capacity, TString::Content content = TString::Content::Secret) {
    if (capacity >= (SIZE_MAX - sizeof(Owners)) / sizeof(wchar_t)) {
        throw std::bad_alloc();
    }
    auto* const owners = new (allocate(sizeof(Owners) + (capacity + 1) * sizeof(wchar_t))) Owners{1, content};
    return reinterpret_cast<wchar_t*>(owners + 1);
}

void releaseCharacters(wchar_t* characters) noexcept {
    Owners* const owners = ownersOf(characters);
    if (owners->count.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        owners->content == TString::Content::Public ? releasePublic(owners) : release(owners);
    }
}

} // namespace

// Defined here so that the library exports it for callers that take its address.
constexpr std::size_t TString::npos;

TString::TString() noexcept : m_pData(m_inline), m_length(0), m_capacity(kInlineCapacity), m_inline{} {}

TString::TString(const wchar_t* text, int length) : TString() {
    replace(text, givenLength(text, length));
}

TString::TString(const TString& other) noexcept : m_pData(m_inline), m_length(0), m_capacity(kInlineCapacity) {
    if (other.m_pData != other.m_inline) {
        std::memset(m_inline, 0, sizeof m_inline);
    }
    copy(other);
}

TString::TString(TString&& other) noexcept : TString() {
    take(other);
}

TString::~TString() {
    dispose();
}

TString& TString::operator=(const TString& other) noexcept {
    if (this != &other) {
        dispose();
        copy(other);
    }
    return *this;
}

TString& TString::operator=(TString&& other) noexcept {
    if (this != &other) {
        dispose();
        take(other);
    }
    return *this;
}

TString& TString::operator=(const wchar_t* text) {
    replace(text, givenLength(text, -1));
    return *this;
}

void TString::clear() noexcept {
    if (m_pData != m_inline && mayWrite()) {
        setLength(0); // keeps the room
    } else {
        dispose();
    }
}

wchar_t* TString::fill(std::size_t length, Content content) {
    dispose();
    if (length > kInlineCapacity) {
        m_pData = newCharacters(length, content);
        m_capacity = length;
        m_pData[length] = 0;
    }
    m_length = length;
    return m_pData;
}

int TString::compare(const TString& other) const noexcept {
    return viewOf(*this).compare(viewOf(other));
}

// Most texts differ from `other` in the first character: measuring `other` first would take longer.
int TString::compare(const wchar_t* other) const noexcept {
    const wchar_t* const right = other == nullptr ? L"" : other;
    std::size_t at = 0;
    while (at < m_length && right[at] != 0 && m_pData[at] == right[at]) {
        ++at;
    }
    if (at == m_length) {
        return right[at] == 0 ? 0 : -1;
    }
    return right[at] != 0 && m_pData[at] < right[at] ? -1 : 1;
}

int TString::compareIgnoreCase(const TString& other) const noexcept {
    return compareLower(viewOf(*this), viewOf(other));
}

int TString::compareIgnoreCase(const wchar_t* other) const noexcept {
    return compareLower(viewOf(*this), viewOf(other));
}

TString& TString::format(const wchar_t* wideFormat, ...) {
    va_list arguments;
    va_start(arguments, wideFormat);
    TString text;
    try {
        text.appendArguments(wideFormat, arguments);
    } catch (...) {
        va_end(arguments);
        throw;
    }
    va_end(arguments);
    return *this = std::move(text);
}

TString& TString::appendFormat(const wchar_t* wideFormat, ...) {
    va_list arguments;
    va_start(arguments, wideFormat);
    try {
        appendArguments(wideFormat, arguments);
    } catch (...) {
        va_end(arguments);
        throw;
    }
    va_end(arguments);
    return *this;
}

TString& TString::append(const wchar_t* text, int length) {
    appendCharacters(text, givenLength(text, length));
    return *this;
}

TString& TString::append(const TString& other) {
    appendCharacters(other.m_pData, other.m_length);
    return *this;
}

std::size_t TString::find(const TString& part, std::size_t from) const noexcept {
    return viewOf(*this).find(viewOf(part), from);
}

TString TString::substr(std::size_t position, std::size_t count) const {
    TString part;
    if (position < m_length) {
        part.replace(m_pData + position, std::min(count, m_length - position));
    }
    return part;
}

void TString::dispose() noexcept {
    if (m_pData == m_inline) {
        if (m_length != 0) {
            // All of it: a fixed number of characters is wiped faster than a few.
            text::secureZero(m_inline, sizeof m_inline);
            m_length = 0;
        }
        return;
    }
    releaseCharacters(m_pData);
    m_pData = m_inline;
    m_length = 0;
    m_capacity = kInlineCapacity;
}

// All of it: a fixed number of characters is copied faster than a few, and what follows the text is zeros.
void TString::copyInline(const TString& other) noexcept {
    std::memcpy(m_inline, other.m_inline, sizeof m_inline);
    m_length = other.m_length;
}

void TString::copy(const TString& other) noexcept {
    if (other.m_pData == other.m_inline) {
        copyInline(other);
        return;
    }
    ownersOf(other.m_pData)->count.fetch_add(1, std::memory_order_relaxed);
    m_pData = other.m_pData;
    m_length = other.m_length;
    m_capacity = other.m_capacity;
}

/// Returns true when this text may change its characters in place. Public characters are never changed: new ones, which
/// may be secret, get memory of their own.
bool TString::mayWrite() const noexcept {
    return m_pData == m_inline || (ownersOf(m_pData)->content == Content::Secret &&
                                   ownersOf(m_pData)->count.load(std::memory_order_acquire) == 1);
}

void TString::take(TString& other) noexcept {
    if (other.m_pData == other.m_inline) {
        copyInline(other);
        other.clear();
        return;
    }
    m_pData = std::exchange(other.m_pData, other.m_inline);
    m_length = std::exchange(other.m_length, 0);
    m_capacity = std::exchange(other.m_capacity, kInlineCapacity);
}

void TString::grow(std::size_t capacity) {
    wchar_t* const grown = newCharacters(capacity);
    const std::size_t length = m_length;
    std::wmemcpy(grown, m_pData, length);
    std::wmemset(grown + length, 0, capacity + 1 - length);
    dispose();
    m_pData = grown;
    m_length = length;
    m_capacity = capacity;
}

void TString::setLength(std::size_t length) noexcept {
    if (length < m_length) {
        wipe(m_pData + length, m_length - length);
    }
    m_length = length;
}

void TString::replace(const wchar_t* text, std::size_t length) {
    if (length > m_capacity || !mayWrite()) {
        // `text` may point into this text: its old characters are released only after the copy.
        TString copy;
        if (length > kInlineCapacity) {
            copy.m_pData = newCharacters(length);
            copy.m_capacity = length;
            copy.m_pData[length] = 0;
        }
        std::wmemcpy(copy.m_pData, text, length);
        copy.m_length = length;
        *this = std::move(copy);
        return;
    }
    if (length != 0) {
        std::wmemmove(m_pData, text, length);
    }
    setLength(length);
}

void TString::appendCharacters(const wchar_t* text, std::size_t length) {
    const std::size_t before = m_length;
    if (length > m_capacity - before || !mayWrite()) {
        // `text` may point into this text: the old characters are released only after they are appended.
        TString grown;
        grown.grow(std::max(before + length, 2 * m_capacity));
        std::wmemcpy(grown.m_pData, m_pData, before);
        std::wmemcpy(grown.m_pData + before, text, length);
        grown.m_length = before + length;
        *this = std::move(grown);
    } else if (length != 0) {
        std::wmemmove(m_pData + before, text, length);
        m_length = before + length;
    }
}

void TString::appendArguments(const wchar_t* wideFormat, va_list arguments) {
    text::WipedBuffer<wchar_t, 256> formatted;
    text::formatWide(formatted, wideFormat, arguments);
    if (formatted.hasFailed()) {
        throw std::bad_alloc();
    }
    appendCharacters(formatted.data(), formatted.length());
}

} // namespace Zel
