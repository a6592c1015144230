#include "ry/rylog.h"

#include <cstdarg>
#include <cstdlib>
#include <iterator>

#include "framework/log/Log.h"
#include "platform/Fork.h"
#include "platform/SecureZero.h"
#include "text/WideFormat.h"

namespace {

Ry::log::Log g_log;

// A child process has one of its parent's threads: the others must not hold the lock when it is made.
[[maybe_unused]] const bool g_survivesFork =
    platform::aroundFork([] { g_log.lockForFork(); }, [] { g_log.unlockAfterFork(); });

/// A formatted message, empty without memory. It is overwritten before it goes, as the line is.
class FormattedText {
public:
    FormattedText(const wchar_t* wideFormat, va_list arguments) noexcept {
        m_length = Zel::text::formatWide(m_room, std::size(m_room), wideFormat, arguments);
        if (m_length > std::size(m_room)) {
            platform::secureZero(m_room, sizeof(m_room));
            m_pText = static_cast<wchar_t*>(std::malloc(m_length * sizeof(wchar_t)));
            m_length = m_pText == nullptr ? 0 : Zel::text::formatWide(m_pText, m_length, wideFormat, arguments);
        }
    }
    FormattedText(const FormattedText&) = delete;
    FormattedText& operator=(const FormattedText&) = delete;
    ~FormattedText() {
        platform::secureZero(m_pText, m_length * sizeof(wchar_t));
        if (m_pText != m_room) {
            std::free(m_pText);
        }
    }

    [[nodiscard]] std::wstring_view view() const noexcept { return {m_pText, m_length}; }

private:
    wchar_t m_room[512];
    wchar_t* m_pText = m_room;
    std::size_t m_length;
};

void write(const wchar_t* module, std::uint32_t level, const unsigned char* bytes, std::uint32_t length,
           const wchar_t* wideFormat, va_list arguments) noexcept {
    const FormattedText text(wideFormat, arguments);
    g_log.write(module, level, text.view(), bytes, length);
}

} // namespace

// Others ask through it while they are loaded, before anything here would be initialised.
constinit const std::atomic<std::uint64_t>* const rylogLevels = g_log.levels();

void rylogSetModuleName(const wchar_t* name) noexcept {
    g_log.setModuleName(name);
}

bool rylogIsEnabled(std::uint32_t level) noexcept {
    return g_log.isEnabled(level);
}

void rylogLog(const wchar_t* module, std::uint32_t level, const wchar_t* wideFormat, ...) noexcept {
    if (!g_log.isEnabled(level)) {
        return;
    }
    va_list arguments;
    va_start(arguments, wideFormat);
    write(module, level, nullptr, 0, wideFormat, arguments);
    va_end(arguments);
}

void rylogLogBin(const wchar_t* module, std::uint32_t level, const void* bytes, std::uint32_t length,
                 const wchar_t* wideFormat, ...) noexcept {
    if (!g_log.isEnabled(level)) {
        return;
    }
    va_list arguments;
    va_start(arguments, wideFormat);
    constexpr unsigned char kNoBytes[1] = {};
    const bool isNull = bytes == nullptr;
    write(module, level, isNull ? kNoBytes : static_cast<const unsigned char*>(bytes), isNull ? 0 : length, wideFormat,
          arguments);
    va_end(arguments);
}

bool rylogSetUp(const char* file, std::uint32_t levels, RylogFormat format) noexcept {
    return g_log.setUp(file, levels, format);
}

RylogFault rylogFault() noexcept {
    return g_log.fault();
}

void rylogSetReceiver(RylogReceiver receiver, void* context, std::uint32_t levels) noexcept {
    g_log.setReceiver(receiver, context, levels);
}
