#pragma once

#include "host/card/Person.h"
#include "host/plugin/Output.h"

namespace host {

/// The person at the terminal that this program runs on.
class TerminalPerson final : public Person {
public:
    explicit TerminalPerson(const Output& output) : m_output(output) {}

    [[nodiscard]] WipedBytes secret(const std::string& question) override;
    [[nodiscard]] std::optional<bool> agrees(const std::string& question) override;
    void tell(const std::string& text) override;
    void show(std::string_view text) override { m_output.message(text); }

private:
    const Output& m_output;
};

} // namespace host
