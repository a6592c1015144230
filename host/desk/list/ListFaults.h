#pragma once

#include <cstddef>
#include <string>

#include "host/plugin/Errors.h"

namespace host::desk {

/// What is wrong with a list: the first faults word for word, and how many more there are.
class ListFaults {
public:
    explicit ListFaults(std::string file) : m_file(std::move(file)) {}

    void add(std::size_t line, const std::string& text) {
        if (++m_count <= kMostShown) {
            m_text += (m_text.empty() ? "" : "\n") + m_file + ":" + std::to_string(line) + ": " + text;
        }
    }

    /// UsageError when there is a fault.
    void end() const {
        if (m_count > kMostShown) {
            throw UsageError(m_text + "\n" + m_file + ": " + std::to_string(m_count - kMostShown) + " more faults");
        }
        if (m_count != 0) {
            throw UsageError(m_text);
        }
    }

private:
    static constexpr std::size_t kMostShown = 20;

    std::string m_file;
    std::string m_text;
    std::size_t m_count = 0;
};

} // namespace host::desk
