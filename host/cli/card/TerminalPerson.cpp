#include "host/cli/card/TerminalPerson.h"

#include "host/cli/Question.h"
#include "host/scripts/Secrets.h"

namespace host {

WipedBytes TerminalPerson::secret(const std::string& question) {
    return secretFromPrompt(question);
}

std::optional<bool> TerminalPerson::agrees(const std::string& question) {
    return askYesOrNo(question);
}

void TerminalPerson::tell(const std::string& text) {
    m_output.message(text + "\n");
}

} // namespace host
