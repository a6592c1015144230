#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "text/Wiped.h"

namespace host {

/// Whoever drives a card command: somebody at a terminal, or nobody.
class Person {
public:
    Person() = default;
    Person(const Person&) = delete;
    Person& operator=(const Person&) = delete;
    virtual ~Person() = default;

    /// A secret typed after `question` without echo. UsageError when nobody is there.
    [[nodiscard]] virtual WipedBytes secret(const std::string& question) = 0;
    /// Whether the answer to a question is yes; nothing when nobody is there.
    [[nodiscard]] virtual std::optional<bool> agrees(const std::string& question) = 0;
    /// Shows a line.
    virtual void tell(const std::string& text) = 0;
    /// Shows text as it stands, as a line that turns needs it.
    virtual void show(std::string_view text) = 0;
};

} // namespace host
