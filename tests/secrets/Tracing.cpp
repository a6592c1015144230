#include "tests/secrets/Tracing.h"

#include "ry/rylog.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace Secrets {

namespace {

constexpr unsigned kAllLevels = 31;

unsigned long g_searched = 0;

void search(Watch& watch, const void* bytes, std::size_t size) {
    g_searched += size;
    watch.searchTrace(bytes, size);
}

void receive(void* context, const RylogRecord* record) {
    search(*static_cast<Watch*>(context), record->text, std::strlen(record->text));
    search(*static_cast<Watch*>(context), record->bytes, record->length);
}

} // namespace

Tracing::Tracing(Watch& watch, Listener listener) : m_watch(watch) {
    if (listener == Listener::Receiver) {
        rylogSetReceiver(&receive, &watch, kAllLevels);
    } else if (listener == Listener::JsonFile) {
        char name[] = "/tmp/secrets-trace-XXXXXX";
        m_file = ::mkstemp(name);
        static_cast<void>(rylogSetUp(name, kAllLevels, RylogFormat::Json));
        ::unlink(name);
    }
}

Tracing::~Tracing() {
    rylogSetReceiver(nullptr, nullptr, 0);
    static_cast<void>(rylogSetUp(nullptr, 0, RylogFormat::Text));
    if (m_file == -1) {
        return;
    }
    // A mapping is neither heap nor stack.
    const auto size = static_cast<std::size_t>(::lseek(m_file, 0, SEEK_END));
    void* const bytes = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, m_file, 0);
    if (bytes != MAP_FAILED) {
        search(m_watch, bytes, size);
        ::munmap(bytes, size);
    }
    ::close(m_file);
}

unsigned long Tracing::searched() {
    return g_searched;
}

} // namespace Secrets
