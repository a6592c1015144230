#include "tests/secrets/Watch.h"

#include "tests/secrets/Heap.h"
#include "tests/secrets/Registers.h"

#include <link.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace Secrets {

namespace {

constexpr std::size_t kMostFindings = 100;

Watch* g_pWatch = nullptr;

using LookAtSegment = std::function<void(const void*, std::size_t)>;

int lookAtLibrary(dl_phdr_info* library, std::size_t, void* context) {
    // The system's own libraries are not ours to answer for.
    if (std::string_view(library->dlpi_name).starts_with("/lib") ||
        std::string_view(library->dlpi_name).starts_with("/usr/lib")) {
        return 0;
    }
    for (int i = 0; i < library->dlpi_phnum; ++i) {
        const ElfW(Phdr)& segment = library->dlpi_phdr[i];
        if (segment.p_type == PT_LOAD && (segment.p_flags & PF_W) != 0) {
            // NOLINTNEXTLINE(performance-no-int-to-ptr): the loader tells addresses as numbers
            (*static_cast<const LookAtSegment*>(context))(
                reinterpret_cast<const void*>(library->dlpi_addr + segment.p_vaddr), segment.p_memsz);
        }
    }
    return 0;
}

} // namespace

Watch::Watch(const Needles& needles) : m_needles(needles) {
    g_pWatch = this;
    Heap::lookAtFreed(&lookAtFreed);
}

Watch::~Watch() {
    Heap::lookAtFreed(nullptr);
    g_pWatch = nullptr;
}

void Watch::run(const std::string& name, const std::function<void()>& operation,
                const std::function<std::vector<Range>()>& kept, bool isScanned) {
    m_operation = name;
    m_kept.clear();
    m_stack.run(operation);
    if (!isScanned) {
        return;
    }
    m_kept = kept();
    ++m_scans;
    Heap::lookAtLive(&lookAtLive);
    const std::span<const std::byte> stack = m_stack.touched();
    look("the stack", stack.data(), stack.size());
    lookAtLibraries();
    // Until the next operation has ended, whatever goes has to be clean.
    m_kept.clear();
}

void Watch::searchTrace(const void* bytes, std::size_t size) {
    look("the trace", bytes, size);
}

std::vector<std::string> Watch::takeFindings() {
    m_last = {};
    return std::exchange(m_findings, {});
}

void Watch::lookAtFreed(const void* bytes, std::size_t size) {
    g_pWatch->look("a block that was given back", bytes, size);
}

void Watch::lookAtLive(const void* bytes, std::size_t size) {
    g_pWatch->look("a live block", bytes, size);
}

void Watch::look(const char* place, const void* bytes, std::size_t size) {
    // A block may go while a trace is being searched.
    const auto outer = std::tuple(m_place, m_pBlock, m_size);
    m_place = place;
    m_pBlock = static_cast<const std::uint8_t*>(bytes);
    m_size = size;
    m_bytes += size;
    m_needles.search(bytes, size, &found);
    clearRegisters();
    std::tie(m_place, m_pBlock, m_size) = outer;
}

void Watch::lookAtLibraries() {
    const Heap::Unwatched unwatched;
    const LookAtSegment lookAtSegment = [this](const void* bytes, std::size_t size) {
        look("the data of a library", bytes, size);
    };
    ::dl_iterate_phdr(&lookAtLibrary, const_cast<LookAtSegment*>(&lookAtSegment));
}

void Watch::found(const Needle& needle, const std::uint8_t* at) {
    Watch& watch = *g_pWatch;
    const bool isTrace = watch.m_place == std::string_view("the trace");
    const bool mayBeTraced = needle.secret->kind == Kind::Value || needle.secret->kind == Kind::Public;
    if ((isTrace && mayBeTraced) || (needle.isKeptForm && watch.isKeptAt(at))) {
        return;
    }
    watch.report(needle, static_cast<std::size_t>(at - watch.m_pBlock));
}

bool Watch::isKeptAt(const std::uint8_t* at) const {
    return std::any_of(m_kept.begin(), m_kept.end(), [at](const Range& range) {
        const auto* const begin = static_cast<const std::uint8_t*>(range.begin);
        return at >= begin && at < begin + range.size;
    });
}

void Watch::report(const Needle& needle, std::size_t offset) {
    const Heap::Unwatched unwatched;
    // The other pieces of one remnant say nothing new.
    const bool isKnown = m_last == std::tuple(needle.secret, needle.form, m_place) && m_lastScan == m_scans;
    m_last = {needle.secret, needle.form, m_place};
    m_lastScan = m_scans;
    if (!isKnown && m_findings.size() < kMostFindings) {
        m_findings.push_back(m_operation + ": in " + m_place + " of " + std::to_string(m_size) + " bytes at " +
                             std::to_string(offset) + ": " + needle.secret->name + " as " + needle.form);
    }
}

} // namespace Secrets
