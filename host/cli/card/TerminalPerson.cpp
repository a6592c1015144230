#include "host/cli/card/TerminalPerson.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "host/scripts/Secrets.h"
#include "platform/Console.h"

namespace host {

WipedBytes TerminalPerson::secret(const std::string& question) {
    return secretFromPrompt(question);
}

std::optional<bool> TerminalPerson::agrees(const std::string& question) {
    std::array<char, 16> line = {};
    const std::optional<std::size_t> length =
        platform::readLineWithEcho((question + " [y/N] ").c_str(), line.data(), line.size());
    endIfInterrupted();
    if (!length) {
        return std::nullopt;
    }
    std::string answer(trimmed(std::string_view(line.data(), *length)));
    std::transform(answer.begin(), answer.end(), answer.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return answer == "y" || answer == "yes";
}

void TerminalPerson::tell(const std::string& text) {
    m_output.message(text + "\n");
}

} // namespace host
