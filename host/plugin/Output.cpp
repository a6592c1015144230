#include "host/plugin/Output.h"

#include <string>

#include "host/plugin/Texts.h"
#include "platform/Streams.h"

namespace host {

Output standardOutput() {
    return {[](std::string_view text) { return platform::writeResult(text.data(), text.size()); },
            [](std::string_view text) { platform::writeMessage(text.data(), text.size()); }};
}

void complain(const Output& output, std::string_view text) {
    output.message("p11host: " + printable(text) + "\n");
}

} // namespace host
