#include "watch/recorder/RecordedCall.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <new>
#include <string>

#include "cryptoki/ResultNames.h"
#include "platform/Fork.h"
#include "platform/SystemNumbers.h"
#include "watch/calls/OpenObjects.h"
#include "watch/recorder/KnownObjects.h"
#include "watch/recorder/MadeOnce.h"
#include "watch/recorder/Record.h"

namespace watch {

namespace {

using std::chrono::nanoseconds;
using std::chrono::steady_clock;
using std::chrono::system_clock;

/// What the process has of the watch. It outlives every object of the process: calls come until the very end. It holds
/// no memory and no file after the module was finalised.
struct Watch {
    Record record;
    KnownObjects objects;
    std::atomic<std::uint64_t> calls = 0;
    std::atomic<std::uint64_t> forks = 0; ///< of which this process is the child
};

Watch& watch() noexcept {
    alignas(Watch) static std::byte s_storage[sizeof(Watch)];
    static Watch* const s_watch = [] {
        Watch* const made = new (s_storage) Watch;
        platform::aroundFork(
            [] {
                g_madeOnce.lock();
                watch().objects.lock();
                watch().record.lock();
            },
            [] {
                watch().record.unlock();
                watch().objects.unlock();
                g_madeOnce.unlock();
                ++watch().forks;
            });
        return made;
    }();
    return *s_watch;
}

/// The system's numbers, asked for once in each thread of each process.
struct Numbers {
    std::uint64_t process = 0;
    std::uint64_t thread = 0;
    std::uint64_t forks = 0;
};

const Numbers& numbers() noexcept {
    thread_local Numbers t_numbers;
    const std::uint64_t forks = watch().forks.load(std::memory_order_relaxed);
    if (t_numbers.process == 0 || t_numbers.forks != forks) {
        t_numbers = {platform::processNumber(), platform::threadNumber(), forks};
    }
    return t_numbers;
}

/// Functions whose template belongs to the object that they name.
bool namesObject(FunctionId id) noexcept {
    return id == FunctionId::C_GetAttributeValue || id == FunctionId::C_SetAttributeValue ||
           id == FunctionId::C_CopyObject;
}

void writeResult(JsonLine& line, CK_RV result) {
    const auto low = static_cast<std::uint32_t>(result);
    const std::string name = low == result ? cryptoki::resultName(low) : std::string();
    name.starts_with("CKR_") ? line.name(name) : line.hexNumber(result);
}

} // namespace

RecordedCall::RecordedCall(FunctionId id, Words words) noexcept
    : m_name(functionOf(id).name), m_id(id), m_words(words), m_isRecorded(watch().record.isWanted()) {
    if (!m_isRecorded) {
        return;
    }
    try {
        writeInputs(m_inputs, functionOf(id), words, isAboutOpenObject(), m_rooms);
    } catch (const std::exception&) {
        m_isRecorded = false;
    }
    start();
}

RecordedCall::RecordedCall(std::string_view name) noexcept : m_name(name), m_isRecorded(watch().record.isWanted()) {
    start();
}

void RecordedCall::start() noexcept {
    m_number = ++watch().calls;
    m_time = system_clock::now();
    m_start = steady_clock::now();
}

bool RecordedCall::isAboutOpenObject() noexcept {
    return namesObject(*m_id) ? watch().objects.isOpen(m_words[0], m_words[1]) : namesOpenClass(*m_id, m_words);
}

void RecordedCall::finish(CK_RV result) noexcept {
    if (!m_isRecorded) {
        return;
    }
    const nanoseconds duration = steady_clock::now() - m_start;
    if (m_id) {
        if (result == CKR_OK) {
            watch().objects.learn(*m_id, m_words, m_rooms.attributes);
        }
        writeOutputs(m_outputs, functionOf(*m_id), m_words, isAboutOpenObject(), m_rooms, result);
    }
    write(result, duration);
    if (m_id == FunctionId::C_Finalize && result == CKR_OK) {
        watch().record.close();
    }
}

void RecordedCall::write(CK_RV result, nanoseconds duration) noexcept {
    const auto time = std::chrono::duration_cast<nanoseconds>(m_time.time_since_epoch()).count();
    JsonLine line;
    try {
        line.open('{').key("n").number(m_number).key("time").name(std::to_string(time));
        line.key("duration").number(static_cast<std::uint64_t>(std::max<nanoseconds::rep>(duration.count(), 0)));
        line.key("process").number(numbers().process).key("thread").number(numbers().thread);
        line.key("call").name(m_name).key("in").word(m_inputs.view()).key("out").word(m_outputs.view());
        line.key("result");
        writeResult(line, result);
        line.close('}').end();
    } catch (const std::exception&) {
        return;
    }
    if (!line.hasFailed() && !m_inputs.hasFailed() && !m_outputs.hasFailed()) {
        watch().record.append(line.view());
    }
}

} // namespace watch
