#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace host {

/// What stood on the command line of a card command.
struct CardArguments {
    std::map<std::string, std::vector<std::string>> options; ///< by name, "--id"; a switch has no values
    std::vector<std::string> operands;

    [[nodiscard]] bool has(const std::string& name) const { return options.count(name) != 0; }
    /// The value of an option that stands once.
    [[nodiscard]] std::optional<std::string> value(const std::string& name) const {
        const auto found = options.find(name);
        return found == options.end() || found->second.empty() ? std::nullopt : std::optional(found->second.front());
    }
    [[nodiscard]] std::vector<std::string> values(const std::string& name) const {
        const auto found = options.find(name);
        return found == options.end() ? std::vector<std::string>() : found->second;
    }
};

} // namespace host
