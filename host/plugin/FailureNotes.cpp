#include "host/plugin/FailureNotes.h"

#include <charconv>
#include <mutex>

#include "platform/Streams.h"
#include "ry/rylog.h"

namespace host {

namespace {

constexpr std::uint32_t kFailureLevel = 1;
constexpr std::uint32_t kCallLevel = 2;
constexpr std::string_view kRemoval = "PKCS11Client::removeData: C_DestroyObject";
constexpr std::size_t kMostCalls = 32;

/// The text after "PKCS11Client::"; empty for other lines.
std::string_view insideExecutor(std::string_view line) {
    constexpr std::string_view kExecutor = "PKCS11Client::";
    return line.substr(0, kExecutor.size()) == kExecutor ? line.substr(kExecutor.size()) : std::string_view();
}

std::string_view withoutBlanks(std::string_view text) {
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::string_view firstWord(std::string_view text) {
    return text.substr(0, text.find(' '));
}

/// The innermost notes of this thread: the log calls its receiver on the thread that writes. A pointer, because the
/// runtime of mingw-w64 destroys what belongs to a thread after it has freed its memory.
thread_local FailureNotes* t_innermost = nullptr;

std::mutex s_receiverLock;
int s_receivers = 0;
std::uint32_t s_levels = kFailureLevel;

} // namespace

std::optional<FailedCall> readFailedCall(std::string_view line) {
    const std::string_view text = insideExecutor(line);
    const std::size_t colon = text.find(':');
    const std::size_t number = text.find(" 0x");
    if (colon == std::string_view::npos || number == std::string_view::npos || number < colon ||
        text.find("failed") == std::string_view::npos) {
        return std::nullopt;
    }
    FailedCall call;
    call.method = withoutBlanks(text.substr(0, colon));
    call.function = firstWord(withoutBlanks(text.substr(colon + 1, number - colon - 1)));
    const std::string_view digits = text.substr(number + 3);
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), call.result, 16);
    if (error != std::errc() || call.function.empty()) {
        return std::nullopt;
    }
    return call;
}

std::optional<std::string> readRefusedParameter(std::string_view line) {
    constexpr std::string_view kMissing = " parameter not found";
    constexpr std::string_view kBad = "Bad parameter ";
    const std::string_view text = insideExecutor(line);
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view report = withoutBlanks(text.substr(colon + 1));
    const std::size_t missing = report.find(kMissing);
    if (missing != std::string_view::npos) {
        return std::string(report.substr(0, missing)) + " is missing";
    }
    const std::string_view bad = report.substr(0, kBad.size()) == kBad ? report.substr(kBad.size()) : "";
    const std::string_view id = withoutBlanks(bad.substr(0, bad.find(':')));
    return id.empty() ? std::nullopt : std::optional(std::string(id) + " is bad");
}

FailureNotes::FailureNotes() noexcept : m_outer(t_innermost) {
    t_innermost = this;
    const std::lock_guard<std::mutex> lock(s_receiverLock);
    if (++s_receivers == 1) {
        s_levels = kFailureLevel;
        rylogSetReceiver(&FailureNotes::receive, nullptr, s_levels);
    }
}

FailureNotes::~FailureNotes() {
    FailureNotes** link = &t_innermost;
    while (*link != nullptr && *link != this) {
        link = &(*link)->m_outer;
    }
    if (*link == this) {
        *link = m_outer;
    }
    const std::lock_guard<std::mutex> lock(s_receiverLock);
    if (--s_receivers == 0) {
        rylogSetReceiver(nullptr, nullptr, 0);
    }
}

void FailureNotes::clear() {
    m_calls.clear();
    m_refusedLogouts.clear();
    m_parameter.clear();
    m_removed = 0;
}

void FailureNotes::countRemovals() {
    clear();
    const std::lock_guard<std::mutex> lock(s_receiverLock);
    if (s_levels == kFailureLevel) {
        s_levels |= kCallLevel;
        rylogSetReceiver(&FailureNotes::receive, nullptr, s_levels);
    }
}

Failures FailureNotes::failures() const {
    return {{m_calls.begin(), m_calls.end()}, m_parameter, m_removed};
}

void FailureNotes::receive(void* /*context*/, const RylogRecord* record) {
    if (t_innermost != nullptr) {
        t_innermost->note(record->text);
    }
}

void FailureNotes::note(std::string_view line) {
    if (line == kRemoval) {
        ++m_removed;
    } else if (std::optional<FailedCall> call = readFailedCall(line)) {
        if (call->function == "C_DestroyObject" && m_removed > 0) {
            --m_removed;
        }
        if (const std::optional<std::string> message = m_refusedLogouts.note(*call)) {
            platform::writeMessage(message->data(), message->size());
        }
        m_calls.push_back(std::move(*call));
    } else if (std::optional<std::string> parameter = readRefusedParameter(line)) {
        m_parameter = std::move(*parameter);
    }
    if (m_calls.size() > kMostCalls) {
        m_calls.pop_front();
    }
}

} // namespace host
