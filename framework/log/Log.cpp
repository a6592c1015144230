#include "framework/log/Log.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstring>
#include <cwchar>
#include <string>

#include "framework/log/LineFormat.h"

namespace Ry::log {
namespace {

constexpr std::uint32_t kDefaultLevels = 31;

// A receiver that logs would wait for itself: what it logs is dropped.
thread_local bool t_isDelivering = false;

std::uint32_t threadNumber() noexcept {
    static std::atomic<std::uint32_t> s_last = 0;
    thread_local const std::uint32_t t_number = ++s_last;
    return t_number;
}

std::int64_t microsecondsNow() noexcept {
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

/// Decimal or 0x hexadecimal; the default for anything else.
std::uint32_t parseLevels(const std::string& text) noexcept {
    const bool isHex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const char* const first = text.data() + (isHex ? 2 : 0);
    const char* const last = text.data() + text.size();
    std::uint32_t levels = 0;
    const auto result = std::from_chars(first, last, levels, isHex ? 16 : 10);
    return result.ec == std::errc() && result.ptr == last ? levels : kDefaultLevels;
}

/// How much of the text fits into `room` bytes without half a character at its end, which would be no UTF-8.
std::size_t fittingLength(const LineBuffer& text, std::size_t room) noexcept {
    std::size_t length = std::min(text.length(), room);
    while (length < text.length() && (static_cast<unsigned char>(text.data()[length]) & 0xC0) == 0x80) {
        --length;
    }
    return length;
}

} // namespace

void Log::setModuleName(const wchar_t* name) noexcept {
    LineBuffer text;
    if (name != nullptr) {
        appendUtf8(text, name, std::wcslen(name));
    }
    const std::lock_guard lock(m_mutex);
    const std::size_t length = fittingLength(text, sizeof(m_moduleName) - 1);
    std::memcpy(m_moduleName, text.data(), length);
    m_moduleName[length] = 0;
}

bool Log::setUp(const char* file, std::uint32_t levels, RylogFormat format) noexcept {
    const std::lock_guard lock(m_mutex);
    return openFile(file, levels, format);
}

void Log::setReceiver(RylogReceiver receiver, void* context, std::uint32_t levels) noexcept {
    const std::lock_guard lock(m_mutex);
    m_receiver = receiver;
    m_pContext = context;
    m_receiverLevels = levels;
    publishLevels();
}

void Log::write(const char* module, std::uint32_t level, const char* text, const unsigned char* bytes,
                std::uint32_t length) noexcept {
    if (t_isDelivering) {
        return;
    }
    const std::lock_guard lock(m_mutex);
    const RylogRecord record{module == nullptr ? m_moduleName : module, level, text, bytes, length};
    // Asked again under the lock: the log may have been set up anew since.
    if ((m_levels.load(std::memory_order_relaxed) & level) == 0) {
        return;
    }
    if (m_receiver == nullptr) {
        writeLine(record);
        return;
    }
    t_isDelivering = true;
    try {
        m_receiver(m_pContext, &record);
    } catch (...) { // NOLINT(bugprone-empty-catch): a host's failure is not the plug-in's
    }
    t_isDelivering = false;
}

std::uint64_t Log::readEnvironment() noexcept {
    const std::lock_guard lock(m_mutex);
    if (m_levels.load(std::memory_order_relaxed) == kUnknown) {
        try {
            const std::string file = environmentVariable("RYLOG_FILE");
            const std::uint32_t levels = parseLevels(environmentVariable("RYLOG_LEVELS"));
            const bool isJson = environmentVariable("RYLOG_FORMAT") == "json";
            openFile(file.c_str(), levels, isJson ? RylogFormat::Json : RylogFormat::Text);
        } catch (...) {
            openFile(nullptr, 0, RylogFormat::Text);
        }
    }
    return m_levels.load(std::memory_order_relaxed);
}

bool Log::openFile(const char* file, std::uint32_t levels, RylogFormat format) noexcept {
    const bool isDone = m_file.open(file);
    m_format = format;
    m_fileLevels = m_file.isOpen() ? levels : 0;
    publishLevels();
    return isDone;
}

void Log::publishLevels() noexcept {
    m_levels.store(m_receiver != nullptr ? m_receiverLevels : m_fileLevels, std::memory_order_relaxed);
}

void Log::writeLine(const RylogRecord& record) noexcept {
    LineBuffer line;
    appendLine(line, m_format, microsecondsNow(), threadNumber(), record);
    if (!line.hasFailed()) {
        m_file.write(line.data(), line.length());
    }
}

} // namespace Ry::log
