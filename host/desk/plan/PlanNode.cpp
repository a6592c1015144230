#include "host/desk/plan/PlanNode.h"

#include <algorithm>

#include "host/plugin/Texts.h"

namespace host::desk {

void PlanNode::fault(const std::string& text) const {
    m_faults.lines.push_back(m_faults.file + ":" + std::to_string(m_tree.line) + ": " +
                             (m_path.empty() ? "" : printable(m_path) + ": ") + text);
}

bool PlanNode::is(JsonTree::Kind kind) const {
    if (m_tree.kind != kind) {
        fault(std::string(nameOf(kind)) + " is expected here, and this is " + nameOf(m_tree.kind));
    }
    return m_tree.kind == kind;
}

void PlanNode::allowOnly(std::initializer_list<const char*> names) const {
    const std::vector<std::string> all(names.begin(), names.end());
    for (const JsonMember& member : m_tree.members) {
        if (std::find(all.begin(), all.end(), member.name) == all.end()) {
            PlanNode(member.value, m_path, m_faults)
                .fault("there is no \"" + printable(member.name) + "\" here" + suggestion(member.name, all));
        }
    }
}

std::optional<PlanNode> PlanNode::find(const char* name) const {
    const JsonTree* const member = m_tree.find(name);
    return member == nullptr
               ? std::nullopt
               : std::optional<PlanNode>(std::in_place, *member, m_path.empty() ? name : m_path + "." + name, m_faults);
}

std::optional<PlanNode> PlanNode::require(const char* name) const {
    if (m_tree.kind == JsonTree::Kind::Object && m_tree.find(name) == nullptr) {
        fault(std::string("\"") + name + "\" is missing");
    }
    return find(name);
}

std::vector<PlanNode> PlanNode::members() const {
    std::vector<PlanNode> nodes;
    for (const JsonMember& member : m_tree.members) {
        nodes.emplace_back(member.value, m_path.empty() ? member.name : m_path + "." + member.name, m_faults);
    }
    return nodes;
}

std::vector<PlanNode> PlanNode::items() const {
    std::vector<PlanNode> nodes;
    for (std::size_t i = 0; i < m_tree.items.size(); ++i) {
        nodes.emplace_back(m_tree.items[i], m_path + "[" + std::to_string(i) + "]", m_faults);
    }
    return nodes;
}

std::string PlanNode::text(std::size_t longest, std::size_t shortest) const {
    if (!is(JsonTree::Kind::Text)) {
        return "";
    }
    const std::string& text = m_tree.text;
    if (text.size() < shortest) {
        fault("it is empty");
    } else if (columns(text) > longest) {
        fault("it has " + std::to_string(columns(text)) + " characters, and " + std::to_string(longest) +
              " are allowed");
    } else if (hasControl(text)) {
        fault("it has a control character in it");
    } else {
        return text;
    }
    return "";
}

int PlanNode::number(int smallest, int largest) const {
    const bool isWhole = m_tree.kind == JsonTree::Kind::Integer;
    if (!isWhole || m_tree.integer < smallest || m_tree.integer > largest) {
        fault("a whole number from " + std::to_string(smallest) + " to " + std::to_string(largest) +
              " is expected here");
        return smallest;
    }
    return static_cast<int>(m_tree.integer);
}

std::size_t PlanNode::oneOf(const std::vector<std::string>& words) const {
    const auto found = std::find(words.begin(), words.end(), m_tree.text);
    if (m_tree.kind != JsonTree::Kind::Text || found == words.end()) {
        fault("one of these is expected here: " + joined(words));
        return 0;
    }
    return static_cast<std::size_t>(found - words.begin());
}

std::vector<PlanNode> PlanNode::list(std::size_t fewest, std::size_t most) const {
    if (!is(JsonTree::Kind::List)) {
        return {};
    }
    if (m_tree.items.size() < fewest || m_tree.items.size() > most) {
        fault("the list has " + std::to_string(m_tree.items.size()) + " entries, and " + std::to_string(fewest) +
              " to " + std::to_string(most) + " are allowed");
    }
    return items();
}

} // namespace host::desk
