#include "host/plugin/RefusedLogouts.h"

#include "cryptoki/ResultNames.h"
#include "host/plugin/FailureNotes.h"

namespace host {

std::optional<std::string> RefusedLogouts::note(const FailedCall& call) {
    constexpr std::uint32_t kTriesOfOneWait = 10;
    if (call.function != "C_Logout") {
        clear();
        return std::nullopt;
    }
    ++m_count;
    if (m_count <= kTriesOfOneWait || m_count % kTriesOfOneWait != 1) {
        return std::nullopt;
    }
    return "p11host: " + call.method + " waits for the token to log out; it has refused " + std::to_string(m_count) +
           " times, last with " + cryptoki::resultName(call.result) +
           ".\n  It tries again without end. Ctrl-C twice gives up, with the user still logged in.\n";
}

} // namespace host
