#include "host/view/CallReport.h"

#include "cryptoki/ResultNames.h"

namespace host {

void CallReport::finish(const char* name, std::uint32_t result, std::chrono::nanoseconds duration) const {
    m_write(jsonLine({{"call", name}, {"result", cryptoki::resultName(result)}, {"nanoseconds", duration.count()}}));
}

} // namespace host
