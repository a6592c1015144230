#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "host/card/Pins.h"
#include "host/card/Token.h"
#include "tests/fake/Fake.h"

namespace tests {

/// A person whose answers stand in a list; nobody when `isThere` is false.
class ScriptedPerson final : public host::Person {
public:
    bool isThere = false;
    bool saysYes = false;
    std::vector<std::string> secrets; ///< the next one first
    std::vector<std::string> questions;
    std::string told;

    [[nodiscard]] WipedBytes secret(const std::string& question) override;
    [[nodiscard]] std::optional<bool> agrees(const std::string& question) override;
    void tell(const std::string& text) override { told += text + "\n"; }
    void show(std::string_view /*text*/) override {}
};

[[nodiscard]] WipedBytes secretOf(const std::string& text);

/// The plug-in's own objects on the scripted module, a view of that module beside them, and a token in its one slot.
class CardTest : public ::testing::Test {
protected:
    void SetUp() override;

    /// The token with these rules; one at a time.
    host::Token& token(host::CardRules rules = {});
    [[nodiscard]] const host::ModuleView& view();
    /// How often the module was asked to do this.
    [[nodiscard]] static std::size_t calls(const std::string& function);

    ScriptedPerson person;

private:
    std::optional<host::Session> m_session;
    std::optional<host::ModuleView> m_view;
    std::optional<host::Token> m_token;
};

/// The failure that `call` throws; the test fails when it throws none.
template <class Call>
host::CardFailure failureIn(Call&& call) {
    try {
        call();
    } catch (const host::CardFailure& failure) {
        return failure;
    }
    ADD_FAILURE() << "nothing was thrown";
    return host::CardFailure(host::ExitStatus::Success, "", "", "");
}

} // namespace tests
