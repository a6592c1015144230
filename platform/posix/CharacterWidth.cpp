#include "platform/CharacterWidth.h"

#include <clocale>
#include <cwchar>
#include <locale.h>

namespace platform {

namespace {

/// The C library's table of widths belongs to a locale.
class Utf8Locale {
public:
    Utf8Locale() noexcept : m_before(::uselocale(s_utf8)) {}
    Utf8Locale(const Utf8Locale&) = delete;
    Utf8Locale& operator=(const Utf8Locale&) = delete;
    ~Utf8Locale() { ::uselocale(m_before); }

private:
    /// Null where the system has no such locale: the thread's own stays.
    inline static const locale_t s_utf8 = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    locale_t m_before;
};

} // namespace

std::size_t columnsOf(char32_t character) noexcept {
    const Utf8Locale locale;
    const int width = ::wcwidth(static_cast<wchar_t>(character));
    return width < 0 ? 1 : static_cast<std::size_t>(width);
}

} // namespace platform
