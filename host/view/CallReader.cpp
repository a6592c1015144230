#include "host/view/CallReader.h"

#include <algorithm>
#include <array>
#include <filesystem>

#include "cryptoki/ResultNames.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Paths.h"
#include "host/plugin/Texts.h"
#include "host/view/Shown.h"
#include "host/view/TextFile.h"
#include "watch/record/RecordReader.h"

namespace host::view {

namespace {

using watch::Json;

// Later times and longer durations are no measurements, and could not be added up.
constexpr std::uint64_t kLatestTime = std::uint64_t{1} << 62U;
constexpr std::uint64_t kLongestCall = std::uint64_t{1} << 52U;
constexpr std::size_t kMostFaults = 3;

enum class Member { Number, Digits, Text, Object };

struct MemberRow {
    const char* name;
    Member kind;
    const char* wanted;
};

constexpr std::array<MemberRow, 9> kMembers = {{
    {"n", Member::Number, "a number"},
    {"time", Member::Digits, "a text of decimal digits"},
    {"duration", Member::Number, "a number"},
    {"process", Member::Number, "a number"},
    {"thread", Member::Number, "a number"},
    {"call", Member::Text, "a text"},
    {"in", Member::Object, "an object"},
    {"out", Member::Object, "an object"},
    {"result", Member::Text, "a text"},
}};

bool isRight(const Json& value, Member kind) {
    switch (kind) {
    case Member::Number:
        return value.is_number_unsigned();
    case Member::Object:
        return value.is_object();
    case Member::Text:
        return value.is_string();
    default:
        const std::string text = value.is_string() ? value.get<std::string>() : "";
        return !text.empty() && text.size() <= 19 && text.find_first_not_of("0123456789") == std::string::npos;
    }
}

/// What is wrong with a line that is no line of a record.
std::string faultOf(std::string_view line) {
    const Json value = Json::parse(line, nullptr, false);
    if (value.is_discarded()) {
        return "it is no JSON";
    }
    if (!value.is_object()) {
        return "it is no JSON object";
    }
    for (const MemberRow& row : kMembers) {
        const auto found = value.find(row.name);
        if (found == value.end()) {
            return std::string("\"") + row.name + "\" is missing";
        }
        if (!isRight(*found, row.kind)) {
            return std::string("\"") + row.name + "\" is not " + row.wanted;
        }
    }
    return cryptoki::resultNumber(value["result"].get<std::string>()) ? "its values are nested too deep"
                                                                      : "\"result\" is no result of PKCS #11";
}

std::optional<std::uint64_t> numberIn(const Json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_number_unsigned() ? std::optional(found->get<std::uint64_t>())
                                                                : std::nullopt;
}

/// Values as the record has them; in ASCII where a character would not be seen or turns the text around it.
std::string dumped(const Json& value) {
    std::string text = value.dump();
    return printable(text) == text ? text : value.dump(-1, ' ', true);
}

void addCall(Calls& calls, const watch::RecordedLine& line) {
    Call call;
    call.time = static_cast<std::int64_t>(line.time);
    call.duration = static_cast<std::int64_t>(line.duration);
    call.process = line.process;
    call.thread = line.thread;
    call.number = line.number;
    call.function = calls.functions.numberOf(line.call);
    call.result = calls.results.numberOf(cryptoki::resultName(line.result));
    call.detail = calls.details.numberOf("{\"in\":" + dumped(line.in) + ",\"out\":" + dumped(line.out) + "}");
    call.hasFailed = line.result != 0;
    call.session = line.call == "C_OpenSession" ? numberIn(line.out, "session") : numberIn(line.in, "session");
    call.slot = numberIn(line.in, "slot");
    calls.all.push_back(call);
}

/// Reads the lines of one file. A full disk or the end of a program may cut a line off anywhere in it: p11watch ends
/// such a line before it writes the next one, and another process writes its line right behind it.
class LineReader {
public:
    LineReader(Calls& calls, const std::string& file) : m_calls(calls), m_file(file) {}

    void read(std::string_view line, std::size_t number, bool isWhole) {
        std::optional<watch::RecordedLine> read = watch::readLine(line);
        if (!read && (!isWhole || isCutOff(line))) {
            noteCutOff(number, isWhole);
            read = watch::readLine(line.substr(std::min(line.rfind(kHead), line.size())));
            if (!read) {
                return;
            }
        }
        if (!read) {
            refuse(number, faultOf(line));
        } else if (read->time > kLatestTime || read->duration > kLongestCall) {
            refuse(number, read->time > kLatestTime ? "\"time\" is out of range" : "\"duration\" is out of range");
        } else {
            addCall(m_calls, *read);
        }
    }

    void finish() {
        if (m_cutOff > kMostFaults) {
            m_calls.notes.push_back(countText(m_cutOff, "line") + " of " + m_file + " are cut off in all.");
        }
        if (m_count != 0) {
            const std::string more =
                m_count > kMostFaults ? "\nand " + std::to_string(m_count - kMostFaults) + " more" : "";
            throw UsageError("\"" + m_file + "\" is no record, or is damaged:" + m_faults + more +
                             "\nRemove such lines to see the rest.");
        }
    }

private:
    static constexpr std::string_view kHead = "{\"n\":";

    static bool isCutOff(std::string_view line) {
        return line.substr(0, kHead.size()) == kHead.substr(0, line.size()) && !Json::accept(line);
    }

    void noteCutOff(std::size_t number, bool isWhole) {
        if (++m_cutOff <= kMostFaults) {
            m_calls.notes.push_back("Line " + std::to_string(number) + " of " + m_file +
                                    (isWhole ? "" : ", the last one,") +
                                    " is cut off and left out: the disk was full, or the program ended, while it was "
                                    "written.");
        }
    }

    void refuse(std::size_t number, const std::string& fault) {
        m_faults += ++m_count <= kMostFaults ? "\nline " + std::to_string(number) + ": " + fault : "";
    }

    Calls& m_calls;
    const std::string& m_file;
    std::string m_faults;
    std::size_t m_count = 0; ///< of faults
    std::size_t m_cutOff = 0;
};

} // namespace

void addCalls(Calls& calls, std::string_view text, const std::string& file) {
    LineReader reader(calls, file);
    eachLine(text,
             [&](std::string_view line, std::size_t number, bool isWhole) { reader.read(line, number, isWhole); });
    reader.finish();
}

std::vector<std::string> filesOfRecord(const std::string& path) {
    const std::string older = path + ".1";
    std::error_code ignored;
    const bool isRotated = std::filesystem::is_regular_file(pathOf(older), ignored);
    return isRotated ? std::vector<std::string>{older, path} : std::vector<std::string>{path};
}

Calls readCalls(const std::string& path) {
    Calls calls;
    calls.files = filesOfRecord(path);
    for (const std::string& file : calls.files) {
        addCalls(calls, readWhole(file, "record"), file);
    }
    if (calls.all.empty()) {
        throw UsageError("the record \"" + path + "\" has no calls; \"--watch FILE\" of p11host makes one");
    }
    return calls;
}

} // namespace host::view
