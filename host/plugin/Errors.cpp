#include "host/plugin/Errors.h"

#include "platform/Interruption.h"

namespace host {

void endIfInterrupted() {
    if (platform::interruption() != 0) {
        throw Interrupted();
    }
}

} // namespace host
