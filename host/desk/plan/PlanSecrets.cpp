#include <algorithm>
#include <array>
#include <charconv>

#include "host/desk/plan/PlanParts.h"
#include "host/plugin/Errors.h"

namespace host::desk {

namespace {

constexpr std::size_t kLongestText = 1024;
constexpr std::size_t kMostArguments = 64;
constexpr int kLongestTimeout = 3600;
constexpr int kMostRetries = 10;
constexpr std::size_t kFewestDigits = 4;
constexpr std::size_t kMostDigits = 64;

/// "6 digits".
std::size_t readDigits(const PlanNode& node) {
    constexpr std::string_view kUnit = " digits";
    const std::string text = node.text(kLongestText);
    std::size_t digits = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), digits);
    const bool isRead = error == std::errc() && std::string_view(end) == kUnit && text.front() != '0';
    if (!isRead || digits < kFewestDigits || digits > kMostDigits) {
        node.fault("\"4 digits\" to \"64 digits\" is expected here");
        return kFewestDigits;
    }
    return digits;
}

/// Reads what stands beside "command".
PlannedCommand readArguments(const PlanNode& node, const std::vector<std::string>& columns) {
    PlannedCommand command;
    const std::optional<PlanNode> arguments = node.require("command");
    for (const PlanNode& argument : arguments ? arguments->list(1, kMostArguments) : std::vector<PlanNode>()) {
        command.arguments.push_back(readTemplate(argument, columns));
    }
    if (!command.arguments.empty() && command.arguments.front().hasColumn()) {
        arguments->items().front().fault("the program cannot come from the list");
    }
    if (const std::optional<PlanNode> timeout = node.find("timeout")) {
        command.timeout = std::chrono::seconds(timeout->number(1, kLongestTimeout));
    }
    if (const std::optional<PlanNode> retries = node.find("retries")) {
        command.retries = retries->number(0, kMostRetries);
    }
    return command;
}

SecretSource readRandom(const PlanNode& node, const std::vector<std::string>& columns) {
    SecretSource source;
    source.kind = SecretKind::Random;
    node.allowOnly({"random", "deliver"});
    source.digits = readDigits(*node.find("random"));
    if (const std::optional<PlanNode> deliver = node.require("deliver")) {
        source.command = readCommand(*deliver, columns);
    }
    return source;
}

} // namespace

Template readTemplate(const PlanNode& node, const std::vector<std::string>& columns) {
    try {
        return Template::read(node.text(kLongestText), columns);
    } catch (const UsageError& error) {
        node.fault(error.what());
        return {};
    }
}

PlannedCommand readCommand(const PlanNode& node, const std::vector<std::string>& columns) {
    if (!node.is(JsonTree::Kind::Object)) {
        return {};
    }
    node.allowOnly({"command", "timeout", "retries"});
    return readArguments(node, columns);
}

SecretSource readSecret(const PlanNode& node, const std::vector<std::string>& columns) {
    constexpr std::array kWays = {"env", "file", "command", "random"};
    SecretSource source;
    if (!node.is(JsonTree::Kind::Object)) {
        return source;
    }
    if (std::count_if(kWays.begin(), kWays.end(), [&](const char* way) { return node.find(way).has_value(); }) != 1) {
        node.fault("one of \"env\", \"file\", \"command\" and \"random\" is expected here");
        return source;
    }
    if (node.find("random")) {
        return readRandom(node, columns);
    }
    if (node.find("command")) {
        source.command = readCommand(node, columns);
        source.kind = SecretKind::Command;
        return source;
    }
    const std::optional<PlanNode> variable = node.find("env");
    node.allowOnly({variable ? "env" : "file"});
    source.kind = variable ? SecretKind::Environment : SecretKind::File;
    source.name = (variable ? variable : node.find("file"))->text(kLongestText);
    return source;
}

} // namespace host::desk
