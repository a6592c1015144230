#include "host/cli/Question.h"

#include <array>
#include <string_view>

#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "platform/Console.h"

namespace host {

std::optional<bool> askYesOrNo(const std::string& question) {
    std::array<char, 16> line = {};
    const std::optional<std::size_t> length =
        platform::readLineWithEcho((question + " [y/N] ").c_str(), line.data(), line.size());
    endIfInterrupted();
    if (!length) {
        return std::nullopt;
    }
    const std::string_view answer = trimmed(std::string_view(line.data(), *length));
    return isSameWord(answer, "y") || isSameWord(answer, "yes");
}

} // namespace host
