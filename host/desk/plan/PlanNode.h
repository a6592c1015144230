#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/desk/plan/JsonTree.h"

namespace host::desk {

/// What is wrong with a plan, one line a fault: "plan.json:12: steps[3].set-pin.pin: …".
struct PlanFaults {
    std::string file;
    std::vector<std::string> lines;
};

/// A value of a plan with its place. What it finds wrong is added to the faults, and reading goes on, so that a person
/// sees all faults at once; what is read of a faulty plan means nothing.
class PlanNode {
public:
    /// Both have to outlive the node.
    PlanNode(const JsonTree& tree, std::string path, PlanFaults& faults)
        : m_tree(tree), m_path(std::move(path)), m_faults(faults) {}

    [[nodiscard]] const JsonTree& tree() const noexcept { return m_tree; }
    void fault(const std::string& text) const;

    /// Returns true when the value has this kind; a fault otherwise.
    [[nodiscard]] bool is(JsonTree::Kind kind) const;
    /// A fault for each member with another name.
    void allowOnly(std::initializer_list<const char*> names) const;

    /// A member; nullopt when it is not there.
    [[nodiscard]] std::optional<PlanNode> find(const char* name) const;
    /// The same; a fault when it is not there.
    [[nodiscard]] std::optional<PlanNode> require(const char* name) const;
    /// All members of an object and all items of a list, none of anything else.
    [[nodiscard]] std::vector<PlanNode> members() const;
    [[nodiscard]] std::vector<PlanNode> items() const;

    /// The text of this value; a fault and empty when it is no text, or has fewer bytes than `shortest` or more
    /// characters than `longest`, or a control character.
    [[nodiscard]] std::string text(std::size_t longest, std::size_t shortest = 1) const;
    /// A whole number within these bounds; a fault and `smallest` otherwise.
    [[nodiscard]] int number(int smallest, int largest) const;
    /// The place of this value's text among `words`. Another text is a fault, and the answer is 0.
    [[nodiscard]] std::size_t oneOf(const std::vector<std::string>& words) const;
    /// The items of a list; a fault when there are fewer than `fewest` or more than `most`.
    [[nodiscard]] std::vector<PlanNode> list(std::size_t fewest, std::size_t most) const;

private:
    const JsonTree& m_tree;
    std::string m_path;
    PlanFaults& m_faults;
};

} // namespace host::desk
