#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "framework/log/LineFormat.h"
#include "framework/log/OutputFile.h"
#include "framework/log/TimeText.h"
#include "ry/rylogFault.h"

namespace Ry::log {

/// The process's one log. It lives as long as the library, which the system unloads after the libraries that log.
class Log {
public:
    /// One relaxed load, except for the first question of all, which reads the environment.
    [[nodiscard]] bool isEnabled(std::uint32_t level) noexcept {
        const std::uint64_t levels = m_levels.load(std::memory_order_relaxed);
        return ((levels == kUnknown ? readEnvironment() : levels) & level) != 0;
    }

    void setModuleName(const wchar_t* name) noexcept;
    [[nodiscard]] bool setUp(const char* file, std::uint32_t levels, RylogFormat format) noexcept;
    [[nodiscard]] RylogFault fault() noexcept;
    void setReceiver(RylogReceiver receiver, void* context, std::uint32_t levels) noexcept;

    /// `module` may be null: the process's module name.
    void write(const wchar_t* module, std::uint32_t level, std::wstring_view text, const unsigned char* bytes,
               std::uint32_t length) noexcept;

    /// Call these around a fork, on the forking thread, so that no other thread holds the child's log and the child can
    /// go on logging. A receiver may fork too.
    void lockForFork() noexcept;
    void unlockAfterFork() noexcept;

private:
    // No mask of 32 levels has this value.
    static constexpr std::uint64_t kUnknown = ~std::uint64_t{0};

    std::uint64_t readEnvironment() noexcept;
    void openFromEnvironment() noexcept;
    bool openFile(const char* file, std::uint32_t levels, RylogFormat format) noexcept;
    void publishLevels() noexcept;
    void writeLine(const Message& message) noexcept;
    void deliver(const Message& message) noexcept;

    std::atomic<std::uint64_t> m_levels = kUnknown;

    // Guards everything below, and keeps lines whole and in the order of their times.
    std::mutex m_mutex;
    OutputFile m_file;
    TimeText m_time;
    bool m_isRefused = false;
    RylogFormat m_format = RylogFormat::Text;
    std::uint32_t m_fileLevels = 0;
    RylogReceiver m_receiver = nullptr;
    void* m_pContext = nullptr;
    std::uint32_t m_receiverLevels = 0;
    wchar_t m_moduleName[256] = {};
};

} // namespace Ry::log
