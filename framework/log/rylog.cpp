#include "ry/rylog.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cwchar>

#include "framework/log/LineFormat.h"
#include "framework/log/Log.h"
#include "framework/text/WideFormat.h"
#include "platform/SecureZero.h"

namespace {

Ry::log::Log g_log;

/// The formatted message as zero-terminated UTF-8; the buffer has failed when there was no memory.
void appendMessage(Ry::log::LineBuffer& buffer, const wchar_t* wideFormat, va_list arguments) noexcept {
    wchar_t room[512];
    wchar_t* text = room;
    std::size_t length = Zel::text::formatWide(room, std::size(room), wideFormat, arguments);
    const std::size_t used = std::min(length, std::size(room));
    if (length > std::size(room)) {
        text = static_cast<wchar_t*>(std::malloc(length * sizeof(wchar_t)));
        length = text == nullptr ? 0 : Zel::text::formatWide(text, length, wideFormat, arguments);
    }
    Ry::log::appendUtf8(buffer, text, length);
    buffer.append('\0');
    // As the line's: values that are to stay nowhere.
    platform::secureZero(room, used * sizeof(wchar_t));
    if (text != room) {
        platform::secureZero(text, length * sizeof(wchar_t));
        std::free(text);
    }
}

void write(const wchar_t* module, std::uint32_t level, const unsigned char* bytes, std::uint32_t length,
           const wchar_t* wideFormat, va_list arguments) noexcept {
    Ry::log::LineBuffer text;
    appendMessage(text, wideFormat, arguments);
    Ry::log::LineBuffer moduleName;
    if (module != nullptr) {
        Ry::log::appendUtf8(moduleName, module, std::wcslen(module));
        moduleName.append('\0');
    }
    if (text.hasFailed() || moduleName.hasFailed()) {
        return;
    }
    g_log.write(module == nullptr ? nullptr : moduleName.data(), level, text.data(), bytes, length);
}

} // namespace

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
    write(module, level, static_cast<const unsigned char*>(bytes), bytes == nullptr ? 0 : length, wideFormat,
          arguments);
    va_end(arguments);
}

bool rylogSetUp(const char* file, std::uint32_t levels, RylogFormat format) noexcept {
    return g_log.setUp(file, levels, format);
}

void rylogSetReceiver(RylogReceiver receiver, void* context, std::uint32_t levels) noexcept {
    g_log.setReceiver(receiver, context, levels);
}
