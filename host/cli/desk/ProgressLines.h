#pragma once

#include <mutex>
#include <string>

#include "host/desk/engine/Progress.h"
#include "host/plugin/Output.h"

namespace host {

/// An event as lines for a person or a log, made fit for a terminal: "Reader 1: row 3, Jane Doe: generate-key\n".
[[nodiscard]] std::string linesOf(const desk::Event& event);

/// Progress as plain lines.
class PlainProgress final : public desk::Progress {
public:
    explicit PlainProgress(const Output& output) : m_output(output) {}
    void tell(const desk::Event& event) override;

private:
    const Output& m_output;
    std::mutex m_mutex;
};

/// Progress as JSON lines for other programs: {"event":"step","reader":…,"row":3,"who":…,"step":"generate-key"}.
class JsonProgress final : public desk::Progress {
public:
    explicit JsonProgress(const Output& output) : m_output(output) {}
    void tell(const desk::Event& event) override;

private:
    const Output& m_output;
    std::mutex m_mutex;
};

/// Progress that nobody reads.
class NoProgress final : public desk::Progress {
public:
    void tell(const desk::Event& /*event*/) override {}
};

} // namespace host
