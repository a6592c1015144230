#pragma once

#include <cstdarg>
#include <cstddef>

#include "zel/Export.h"

namespace Zel {

/// The framework's text: a zero-terminated string of wide characters (UTF-16 units on Windows, code points on Linux)
/// with its length. Short texts live inside the object, longer ones on the framework's heap, where copies share them
/// until one is changed; copies may be used on different threads. Characters that go away (end of life of the last
/// copy, assignment, clear, shrinking) are overwritten with zeros, because a text may be a secret.
///
/// The only failure is std::bad_alloc. Copying never fails.
class ZEL_INTERFACES_API TString {
public:
    static constexpr std::size_t npos = static_cast<std::size_t>(-1);

    TString() noexcept;
    /// `length` characters of `text`; -1: up to the terminator. A null `text` is the empty text.
    TString(const wchar_t* text, int length = -1); // NOLINT(google-explicit-constructor): used as a literal
    TString(const TString& other) noexcept;
    TString(TString&& other) noexcept;
    ~TString();

    TString& operator=(const TString& other) noexcept;
    TString& operator=(TString&& other) noexcept;
    TString& operator=(const wchar_t* text);

    void clear() noexcept;

    enum class Content { Secret, Public };
    /// Makes this a text of `length` characters and returns them for the caller to set at once. Long texts of public
    /// content are not overwritten at their end: for answers without secrets.
    wchar_t* fill(std::size_t length, Content content = Content::Secret);

    /// 0 when equal, negative when this text sorts before `other`, positive when after. By character value.
    [[nodiscard]] int compare(const TString& other) const noexcept;
    [[nodiscard]] int compare(const wchar_t* other) const noexcept;
    /// As compare, both sides taken as lower case, character by character.
    [[nodiscard]] int compareIgnoreCase(const TString& other) const noexcept;
    [[nodiscard]] int compareIgnoreCase(const wchar_t* other) const noexcept;

    /// printf-style with a wide format as the log library takes it (`%ws` is a wide string, `%s` too); replaces the
    /// text, or adds to it. An argument may be this text's own characters.
    TString& format(const wchar_t* wideFormat, ...);
    TString& appendFormat(const wchar_t* wideFormat, ...);

    /// Adds `length` characters of `text`; -1: up to the terminator. `text` may be this text's own characters.
    TString& append(const wchar_t* text, int length = -1);
    TString& append(const TString& other);

    /// Position of the first occurrence of `part` at or after `from`; npos when it does not occur. The empty text is
    /// found at `from` (when that is not past the end).
    [[nodiscard]] std::size_t find(const TString& part, std::size_t from = 0) const noexcept;
    /// `count` characters from `position`, fewer when the text ends before; empty when `position` is past the end.
    [[nodiscard]] TString substr(std::size_t position, std::size_t count = npos) const;

    /// The characters with their terminator, valid until the text changes. Never null.
    [[nodiscard]] const wchar_t* data() const noexcept { return m_pData; }
    [[nodiscard]] const wchar_t* c_str() const noexcept { return m_pData; }
    [[nodiscard]] std::size_t length() const noexcept { return m_length; }
    [[nodiscard]] bool empty() const noexcept { return m_length == 0; }

    friend bool operator<(const TString& a, const TString& b) noexcept { return a.compare(b) < 0; }
    friend bool operator==(const TString& a, const TString& b) noexcept { return a.compare(b) == 0; }

private:
    static constexpr std::size_t kInlineCapacity = 23;

    void dispose() noexcept;
    void copy(const TString& other) noexcept;
    [[nodiscard]] bool mayWrite() const noexcept;
    void copyInline(const TString& other) noexcept;
    void take(TString& other) noexcept;
    void grow(std::size_t capacity);
    void setLength(std::size_t length) noexcept;
    void replace(const wchar_t* text, std::size_t length);
    void appendCharacters(const wchar_t* text, std::size_t length);
    void appendArguments(const wchar_t* wideFormat, va_list arguments);

    wchar_t* m_pData;
    std::size_t m_length;
    std::size_t m_capacity;
    wchar_t m_inline[kInlineCapacity + 1];
};

} // namespace Zel
