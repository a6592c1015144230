#include "framework/log/Log.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <iterator>
#include <string>

#include "platform/Process.h"
#include "platform/SystemNumbers.h"
#include "text/Utf8.h"

namespace Ry::log {
namespace {

constexpr std::uint32_t kDefaultLevels = 31;

struct Thread {
    // Messages that the receiver itself logs are dropped: it would wait for itself.
    bool isDelivering = false;
    std::uint32_t number = 0; ///< the system's
};

thread_local Thread t_thread;

std::uint32_t threadNumber() noexcept {
    if (t_thread.number == 0) {
        t_thread.number = static_cast<std::uint32_t>(platform::threadNumber());
    }
    return t_thread.number;
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

/// The length of the text's longest begin that fits into `room` bytes and does not cut a UTF-8 character.
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
        appendUtf8(text, name);
    }
    const std::lock_guard lock(m_mutex);
    const std::size_t room = std::size(m_moduleName) - 1;
    m_moduleName[text::utf8ToWide(text.data(), fittingLength(text, room), m_moduleName, room)] = 0;
}

bool Log::setUp(const char* file, std::uint32_t levels, RylogFormat format) noexcept {
    const std::lock_guard lock(m_mutex);
    return openFile(file, levels, format);
}

RylogFault Log::fault() noexcept {
    const std::lock_guard lock(m_mutex);
    openFromEnvironment();
    return m_isRefused ? RylogFault::NotOpened : m_file.fault();
}

void Log::setReceiver(RylogReceiver receiver, void* context, std::uint32_t levels) noexcept {
    const std::lock_guard lock(m_mutex);
    openFromEnvironment();
    m_receiver = receiver;
    m_pContext = context;
    m_receiverLevels = receiver == nullptr ? 0 : levels;
    publishLevels();
}

void Log::write(const wchar_t* module, std::uint32_t level, std::wstring_view text, const unsigned char* bytes,
                std::uint32_t length) noexcept {
    if (t_thread.isDelivering) {
        return;
    }
    const std::lock_guard lock(m_mutex);
    // Checked again under the lock: rylogSetUp may have been called since.
    const Message message{module == nullptr ? m_moduleName : module, level, text, bytes, length};
    if ((m_fileLevels & level) != 0) {
        writeLine(message);
    }
    if ((m_receiverLevels & level) != 0) {
        deliver(message);
    }
}

void Log::lockForFork() noexcept {
    if (!t_thread.isDelivering) {
        m_mutex.lock();
    }
}

void Log::unlockAfterFork() noexcept {
    t_thread.number = 0; // another one in the child
    if (!t_thread.isDelivering) {
        m_mutex.unlock();
    }
}

std::uint64_t Log::readEnvironment() noexcept {
    const std::lock_guard lock(m_mutex);
    openFromEnvironment();
    return m_levels.load(std::memory_order_relaxed);
}

void Log::openFromEnvironment() noexcept {
    if (m_levels.load(std::memory_order_relaxed) != kUnknown) {
        return;
    }
    try {
        const std::string file = platform::environmentText("RYLOG_FILE");
        const std::uint32_t levels = parseLevels(platform::environmentText("RYLOG_LEVELS"));
        const bool isJson = platform::environmentText("RYLOG_FORMAT") == "json";
        openFile(file.c_str(), levels, isJson ? RylogFormat::Json : RylogFormat::Text);
    } catch (...) {
        openFile(nullptr, 0, RylogFormat::Text);
    }
}

bool Log::openFile(const char* file, std::uint32_t levels, RylogFormat format) noexcept {
    const bool isDone = m_file.open(file);
    m_isRefused = !isDone;
    m_format = format;
    m_fileLevels = m_file.isOpen() ? levels : 0;
    publishLevels();
    return isDone;
}

void Log::publishLevels() noexcept {
    m_levels.store(m_fileLevels | m_receiverLevels, std::memory_order_relaxed);
}

void Log::writeLine(const Message& message) noexcept {
    LineBuffer line;
    appendLine(line, m_format, m_time.of(microsecondsNow()), threadNumber(), message);
    if (!line.hasFailed()) {
        m_file.write(line.data(), line.length());
    }
}

void Log::deliver(const Message& message) noexcept {
    LineBuffer module;
    appendUtf8(module, message.module);
    module.append('\0');
    LineBuffer text;
    appendUtf8(text, message.text);
    text.append('\0');
    if (module.hasFailed() || text.hasFailed()) {
        return;
    }
    const RylogRecord record{module.data(), message.level, text.data(), message.bytes, message.length};
    t_thread.isDelivering = true;
    try {
        m_receiver(m_pContext, &record);
    } catch (...) { // NOLINT(bugprone-empty-catch): a host's failure is not the plug-in's
    }
    t_thread.isDelivering = false;
}

} // namespace Ry::log
