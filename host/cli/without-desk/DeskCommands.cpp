#include "host/cli/DeskCommands.h"

namespace host {

std::vector<DeskCommand> deskCommands() {
    return {};
}

} // namespace host
