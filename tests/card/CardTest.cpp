#include "tests/card/CardTest.h"

#include <algorithm>

#include "host/plugin/Errors.h"
#include "plugin/Exports.h"

namespace tests {

namespace {

const host::Plugin kPlugin{&newInstance, &freeInstance};

} // namespace

WipedBytes secretOf(const std::string& text) {
    return {text.begin(), text.end()};
}

WipedBytes ScriptedPerson::secret(const std::string& question) {
    questions.push_back(question);
    if (secrets.empty()) {
        throw host::UsageError("no answer from a terminal");
    }
    WipedBytes answer = secretOf(secrets.front());
    secrets.erase(secrets.begin());
    return answer;
}

std::optional<bool> ScriptedPerson::agrees(const std::string& question) {
    questions.push_back(question);
    return isThere ? std::optional(saysYes) : std::nullopt;
}

void CardTest::SetUp() {
    Fake::module().reset();
}

const host::ModuleView& CardTest::view() {
    if (!m_view) {
        m_session.emplace(kPlugin, host::ModuleChoice{Fake::moduleFile(), std::nullopt});
        m_view.emplace(Fake::moduleFile());
    }
    return *m_view;
}

host::Token& CardTest::token(host::CardRules rules) {
    const host::SlotView slot = view().slot(Fake::kSlot);
    m_token.emplace(*m_session, view(), slot, "", person, rules);
    static_cast<void>(Fake::module().takeCalls());
    return *m_token;
}

std::size_t CardTest::calls(const std::string& function) {
    const std::vector<std::string> lines = Fake::module().calls();
    return static_cast<std::size_t>(std::count_if(
        lines.begin(), lines.end(), [&](const std::string& line) { return line.rfind(function + "(", 0) == 0; }));
}

} // namespace tests
