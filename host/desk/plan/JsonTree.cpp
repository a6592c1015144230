#include "host/desk/plan/JsonTree.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <unordered_set>

#include <nlohmann/json.hpp>

#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"

namespace host::desk {

namespace {

constexpr std::size_t kDeepest = 16;

/// Where the parser is. A line end belongs to the line that it ends, because the parser looks one character ahead.
struct Position {
    std::size_t line = 1;
    bool isLineEnded = false;

    void pass(char c) noexcept {
        line += isLineEnded ? 1 : 0;
        isLineEnded = c == '\n';
    }
};

/// Goes through the text and counts lines on the way.
class CountingIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountingIterator(const char* place, Position& position) noexcept : m_place(place), m_position(&position) {}
    reference operator*() const noexcept { return *m_place; }
    CountingIterator& operator++() noexcept {
        m_position->pass(*m_place);
        ++m_place;
        return *this;
    }
    CountingIterator operator++(int) noexcept {
        const CountingIterator before = *this;
        ++*this;
        return before;
    }
    bool operator==(const CountingIterator& other) const noexcept { return m_place == other.m_place; }

private:
    const char* m_place;
    Position* m_position;
};

/// The parser's own reason without its quotation of the text.
std::string reasonOf(std::string_view message) {
    const std::size_t start = message.find(" - ");
    const std::string_view rest = start == std::string_view::npos ? "malformed" : message.substr(start + 3);
    return std::string(rest.substr(0, rest.find("; last read")));
}

/// Builds the tree from the parser's events.
class TreeBuilder final : public nlohmann::json_sax<nlohmann::json> {
public:
    TreeBuilder(std::string file, const Position& position) : m_file(std::move(file)), m_position(position) {}

    [[nodiscard]] JsonTree take() { return std::move(m_root); }

    bool null() override { return add(JsonTree::Kind::Null) != nullptr; }
    bool boolean(bool value) override {
        add(JsonTree::Kind::Boolean)->boolean = value;
        return true;
    }
    bool number_integer(number_integer_t value) override {
        add(JsonTree::Kind::Integer)->integer = value;
        return true;
    }
    bool number_unsigned(number_unsigned_t value) override {
        constexpr number_unsigned_t kMost = std::numeric_limits<std::int64_t>::max();
        add(value > kMost ? JsonTree::Kind::Fraction : JsonTree::Kind::Integer)->integer =
            static_cast<std::int64_t>(std::min(value, kMost));
        return true;
    }
    bool number_float(number_float_t /*value*/, const string_t& /*digits*/) override {
        return add(JsonTree::Kind::Fraction) != nullptr;
    }
    bool string(string_t& value) override {
        add(JsonTree::Kind::Text)->text = value;
        return true;
    }
    bool binary(binary_t& /*value*/) override { return false; }
    bool start_object(std::size_t /*size*/) override { return open(JsonTree::Kind::Object); }
    bool start_array(std::size_t /*size*/) override { return open(JsonTree::Kind::List); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }
    bool key(string_t& name) override {
        if (!m_names.back().insert(name).second) {
            fail("the name \"" + printable(name) + "\" stands twice in one object");
        }
        m_open.back()->members.push_back({name, {}});
        return true;
    }
    bool parse_error(std::size_t /*place*/, const std::string& /*token*/,
                     const nlohmann::detail::exception& error) override {
        fail("not JSON: " + reasonOf(error.what()));
    }

private:
    [[noreturn]] void fail(const std::string& reason) const {
        throw UsageError(m_file + ":" + std::to_string(m_position.line) + ": " + reason);
    }

    /// The place of the next value: in the innermost list or object that is open, else the document itself.
    JsonTree* add(JsonTree::Kind kind) {
        JsonTree* place = &m_root;
        if (!m_open.empty() && m_open.back()->kind == JsonTree::Kind::List) {
            place = &m_open.back()->items.emplace_back();
        } else if (!m_open.empty()) {
            place = &m_open.back()->members.back().value;
        }
        place->kind = kind;
        place->line = m_position.line;
        return place;
    }

    bool open(JsonTree::Kind kind) {
        if (m_open.size() == kDeepest) {
            fail("lists and objects stand more than " + std::to_string(kDeepest) + " deep in each other");
        }
        m_open.push_back(add(kind));
        m_names.emplace_back();
        return true;
    }

    bool close() {
        m_open.pop_back();
        m_names.pop_back();
        return true;
    }

    std::string m_file;
    const Position& m_position;
    JsonTree m_root;
    std::vector<JsonTree*> m_open;                        ///< only the innermost one grows: these stay valid
    std::vector<std::unordered_set<std::string>> m_names; ///< of the members of each
};

} // namespace

const JsonTree* JsonTree::find(std::string_view name) const noexcept {
    const auto found =
        std::find_if(members.begin(), members.end(), [&](const JsonMember& m) { return m.name == name; });
    return found == members.end() ? nullptr : &found->value;
}

const char* nameOf(JsonTree::Kind kind) noexcept {
    switch (kind) {
    case JsonTree::Kind::Null:
        return "null";
    case JsonTree::Kind::Boolean:
        return "a boolean";
    case JsonTree::Kind::Integer:
    case JsonTree::Kind::Fraction:
        return "a number";
    case JsonTree::Kind::Text:
        return "text";
    case JsonTree::Kind::List:
        return "a list";
    default:
        return "an object";
    }
}

JsonTree readJsonTree(std::string_view json, const std::string& file) {
    Position position;
    TreeBuilder builder(file, position);
    [[maybe_unused]] const bool isRead = nlohmann::json::sax_parse(
        CountingIterator(json.data(), position), CountingIterator(json.data() + json.size(), position), &builder);
    return builder.take();
}

} // namespace host::desk
