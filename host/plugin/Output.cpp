#include "host/plugin/Output.h"

#include <algorithm>
#include <string>

#include "host/plugin/Texts.h"
#include "platform/Streams.h"

namespace host {

Output standardOutput() {
    return {[](std::string_view text) { return platform::writeResult(text.data(), text.size()); },
            [](std::string_view text) { platform::writeMessage(text.data(), text.size()); }};
}

void complain(const Output& output, std::string_view text) {
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        output.message("p11host: " + printable(text.substr(0, end)) + "\n");
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

ExitStatus writeResult(const Output& output, std::string_view text, ExitStatus status) {
    if (output.result(text)) {
        return status;
    }
    complain(output, "cannot write the result to standard output");
    return status == ExitStatus::Success ? ExitStatus::Failed : status;
}

} // namespace host
