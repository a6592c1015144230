#pragma once

#include "tests/secrets/Needles.h"
#include "tests/secrets/OwnStack.h"

#include <cstddef>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

namespace Secrets {

/// A range of memory that may hold what an executor keeps.
struct Range {
    const void* begin;
    std::size_t size;
};

/// Runs operations on a stack of its own and looks for secrets: in every block when it is given back, and after each
/// operation in all live blocks, in what the operation left on the stack and in the writable data of this program and
/// of the product's libraries. In between every record of the trace is searched too. One at a time, for as long as it
/// lives.
class Watch {
public:
    explicit Watch(const Needles& needles);
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch();

    /// Runs `operation`, which is called so in findings, and scans; `kept` says afterwards where the executor keeps its
    /// access values: the secrets that are kept by right are no finding there, in the form that they are kept in.
    /// Without `isScanned` only what is given back is looked at.
    void run(const std::string& name, const std::function<void()>& operation,
             const std::function<std::vector<Range>()>& kept, bool isScanned = true);

    /// Searches a trace: a PIN or a key in it is a finding.
    void searchTrace(const void* bytes, std::size_t size);

    [[nodiscard]] unsigned long scans() const { return m_scans; }
    [[nodiscard]] unsigned long bytes() const { return m_bytes; }
    /// One line each: the operation, the place, the secret and its form. The first hundred; taking forgets them.
    std::vector<std::string> takeFindings();

private:
    static void lookAtFreed(const void* bytes, std::size_t size);
    static void lookAtLive(const void* bytes, std::size_t size);
    static void found(const Needle& needle, const std::uint8_t* at);
    void look(const char* place, const void* bytes, std::size_t size);
    void lookAtLibraries();
    void report(const Needle& needle, std::size_t offset);
    [[nodiscard]] bool isKeptAt(const std::uint8_t* at) const;

    const Needles& m_needles;
    OwnStack m_stack;
    std::string m_operation;
    std::vector<Range> m_kept;
    const char* m_place = nullptr;
    const std::uint8_t* m_pBlock = nullptr;
    std::size_t m_size = 0;
    std::vector<std::string> m_findings;
    std::tuple<const Secret*, const char*, const char*> m_last{};
    unsigned long m_lastScan = 0;
    unsigned long m_scans = 0;
    unsigned long m_bytes = 0;
};

} // namespace Secrets
