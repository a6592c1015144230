#include "framework/log/OutputFile.h"

#include <cstring>

namespace Ry::log {

bool OutputFile::open(const char* path) noexcept {
    m_file.close();
    m_fault = RylogFault::None;
    if (path == nullptr || *path == 0) {
        return true;
    }
    m_isOwned = std::strcmp(path, "-") != 0 && std::strcmp(path, "/dev/stderr") != 0;
    return m_isOwned ? m_file.open(path) : m_file.openStandardError();
}

void OutputFile::write(const char* line, std::size_t length) noexcept {
    if (!m_file.isStill()) {
        note(RylogFault::TakenAway);
    } else if (m_file.append(line, length) != length) {
        note(RylogFault::Incomplete);
    }
}

void OutputFile::note(RylogFault fault) noexcept {
    if (m_isOwned && m_fault == RylogFault::None) {
        m_fault = fault;
    }
}

} // namespace Ry::log
