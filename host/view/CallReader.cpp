#include "host/view/CallReader.h"

#include <array>
#include <filesystem>

#include "cryptoki/ResultNames.h"
#include "host/plugin/Errors.h"
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

/// Values as the record has them; bytes that are no UTF-8 are replaced.
std::string dumped(const Json& value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
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

} // namespace

void addCalls(Calls& calls, std::string_view text, const std::string& file) {
    std::string faults;
    std::size_t count = 0;
    const auto refuse = [&](std::size_t number, const std::string& fault) {
        faults += ++count <= kMostFaults ? "\nline " + std::to_string(number) + ": " + fault : "";
    };
    eachLine(text, [&](std::string_view line, std::size_t number, bool isWhole) {
        const std::optional<watch::RecordedLine> read = watch::readLine(line);
        if (!read && !isWhole) {
            calls.notes.push_back("The last line of " + file + " (line " + std::to_string(number) +
                                  ") is cut off and left out: the program ended, or the disk was full, while it was "
                                  "written.");
        } else if (!read) {
            refuse(number, faultOf(line));
        } else if (read->time > kLatestTime || read->duration > kLongestCall) {
            refuse(number, read->time > kLatestTime ? "\"time\" is out of range" : "\"duration\" is out of range");
        } else {
            addCall(calls, *read);
        }
    });
    if (count != 0) {
        const std::string more = count > kMostFaults ? "\nand " + std::to_string(count - kMostFaults) + " more" : "";
        throw UsageError("\"" + file + "\" is no record, or is damaged:" + faults + more +
                         "\nRemove such lines to see the rest.");
    }
}

std::vector<std::string> filesOfRecord(const std::string& path) {
    const std::string older = path + ".1";
    std::error_code ignored;
    const bool isRotated = std::filesystem::is_regular_file(std::u8string(older.begin(), older.end()), ignored);
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
