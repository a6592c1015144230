#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace host::view {

/// Texts that come again and again, each kept once.
class Texts {
public:
    Texts() = default;
    Texts(const Texts&) = delete; // the list points into the map
    Texts& operator=(const Texts&) = delete;
    Texts(Texts&&) noexcept = default;
    Texts& operator=(Texts&&) noexcept = default;
    ~Texts() = default;

    /// The number of the text, counted from 0 in the order of first use.
    std::uint32_t numberOf(const std::string& text);
    /// nullopt for a text that has none.
    [[nodiscard]] std::optional<std::uint32_t> find(const std::string& text) const;
    [[nodiscard]] const std::string& operator[](std::uint32_t number) const { return *m_texts[number]; }
    [[nodiscard]] std::size_t size() const noexcept { return m_texts.size(); }

private:
    std::unordered_map<std::string, std::uint32_t> m_numbers;
    std::vector<const std::string*> m_texts;
};

/// One call of a record.
struct Call {
    std::int64_t time = 0;     ///< of its beginning, in nanoseconds since 1970
    std::int64_t duration = 0; ///< in nanoseconds
    std::uint64_t process = 0;
    std::uint64_t thread = 0;
    std::uint64_t number = 0;   ///< counts the calls of its process
    std::uint32_t function = 0; ///< in Calls::functions
    std::uint32_t result = 0;   ///< in Calls::results
    std::uint32_t detail = 0;   ///< in Calls::details
    bool hasFailed = false;
    std::optional<std::uint64_t> session; ///< the handle that was given or made
    std::optional<std::uint64_t> slot;

    [[nodiscard]] std::int64_t end() const noexcept { return time + duration; }
};

/// The calls of a record, in the order of its lines.
struct Calls {
    std::vector<Call> all;
    Texts functions;
    Texts results; ///< names such as "CKR_OK"
    Texts details; ///< {"in":{...},"out":{...}} as the record has them
    std::vector<std::string> files;
    std::vector<std::string> notes; ///< what a person should know of the record, one sentence each
};

} // namespace host::view
