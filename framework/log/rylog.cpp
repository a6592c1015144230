#include "ry/rylog.h"

#include <cstdarg>

#include "framework/log/Log.h"
#include "platform/Fork.h"
#include "text/WideFormat.h"

namespace {

Ry::log::Log g_log;

// A child process has only the forking thread: no other thread may hold the lock during a fork.
[[maybe_unused]] const bool g_survivesFork =
    platform::aroundFork([] { g_log.lockForFork(); }, [] { g_log.unlockAfterFork(); });

void write(const wchar_t* module, std::uint32_t level, const unsigned char* bytes, std::uint32_t length,
           const wchar_t* wideFormat, va_list arguments) noexcept {
    text::WipedBuffer<wchar_t, 512> message;
    text::formatWide(message, wideFormat, arguments);
    g_log.write(module, level, message.view(), bytes, length);
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
