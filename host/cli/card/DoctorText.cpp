#include "host/cli/card/DoctorText.h"

#include <algorithm>

#include "host/cli/Help.h"
#include "host/plugin/Texts.h"
#include "host/view/JsonFields.h"
#include "host/view/Shown.h"

namespace host {

namespace {

using Rows = std::vector<HelpRow>;

/// A text fit for a terminal.
std::string shown(const Json& object, const char* key) {
    return printable(textIn(object, key));
}

std::vector<std::string> textsOf(const Json& list) {
    std::vector<std::string> texts;
    for (const Json& entry : list) {
        texts.push_back(entry.is_string() ? printable(entry.get<std::string>()) : "");
    }
    return texts;
}

std::string section(const char* title, const Rows& rows, std::size_t width) {
    return rows.empty() ? "" : std::string(title) + ":\n" + helpTable(rows, width) + "\n";
}

std::string functionsLine(const Json& functions) {
    if (!functions.is_object()) {
        return "none";
    }
    const std::size_t total = functions.value("total", std::size_t{0});
    const std::size_t missing = listIn(functions, "missing").size();
    return std::to_string(total - missing) + " of " + std::to_string(total);
}

std::string interfacesLine(const Json& report) {
    std::vector<std::string> names;
    for (const Json& entry : listIn(report, "interfaces")) {
        names.push_back(shown(entry, "name") + " " + shown(entry, "version"));
    }
    return names.empty() ? "none (C_GetInterfaceList is missing or lists none)" : joined(names);
}

Rows moduleRows(const Json& report) {
    Rows rows = {{"File", shown(report, "file")}};
    const Json library = report.value("library", Json());
    const std::vector<std::string> needs = textsOf(listIn(library, "needs"));
    if (library.is_object()) {
        rows.push_back({"Kind", shown(library, "kind")});
    }
    if (!needs.empty()) {
        rows.push_back({"Needs", joined(needs)});
    }
    const Json info = report.value("info", Json());
    if (info.is_object()) {
        rows.push_back({"Is", shown(info, "manufacturer") + ", " + shown(info, "description") + ", version " +
                                  shown(info, "version")});
        rows.push_back({"Follows", "PKCS#11 " + shown(info, "cryptoki")});
    }
    if (report.value("functions", Json()).is_object()) {
        rows.push_back({"Functions", functionsLine(report["functions"])});
        rows.push_back({"Interfaces", interfacesLine(report)});
    }
    const Json layout = report.value("layout", Json());
    if (layout.is_object()) {
        const std::string foreign = shown(layout, "foreign");
        rows.push_back({"Structures", foreign.empty() ? shown(layout, "own") + ", as on this system" : foreign});
    }
    return rows;
}

std::string keySizes(const Json& slot) {
    for (const Json& mechanism : listIn(slot, "mechanisms")) {
        if (mechanism.value("number", std::uint64_t{1}) == 0) {
            return std::to_string(mechanism.value("smallestKey", std::uint64_t{0})) + " to " +
                   std::to_string(mechanism.value("largestKey", std::uint64_t{0})) + " bits";
        }
    }
    return "";
}

std::string slotLine(const Json& slot) {
    const Json token = slot.value("token", Json());
    if (!token.is_object()) {
        return slot.contains("tokenError") ? "does not answer: " + shown(slot, "tokenError") : "no token";
    }
    if (!token.value("initialised", false)) {
        return "blank token";
    }
    std::string text = "token \"" + shown(token, "label") + "\", serial " + shown(token, "serial");
    text += token.value("readOnly", false) ? "; read-only" : "";
    text += "; user PIN " + (token.value("userPinSet", false) ? shown(token, "userPin") : "not set");
    text += ", officer's PIN " + shown(token, "soPin");
    if (listIn(slot, "mechanisms").empty()) {
        return text + "; its mechanisms are unknown";
    }
    text += "; " + std::to_string(listIn(slot, "mechanisms").size()) + " mechanisms";
    const std::string sizes = keySizes(slot);
    return sizes.empty() ? text + ", no RSA keys made" : text + ", RSA keys made: " + sizes;
}

Rows slotRows(const Json& report) {
    Rows rows;
    for (const Json& slot : listIn(report, "slots")) {
        rows.push_back({shown(slot, "reader"), slotLine(slot)});
    }
    return rows;
}

Rows mechanismRows(const Json& report) {
    Rows rows;
    for (const Json& slot : listIn(report, "slots")) {
        for (const Json& mechanism : listIn(slot, "mechanisms")) {
            const std::uint64_t largest = mechanism.value("largestKey", std::uint64_t{0});
            const std::string sizes =
                std::to_string(mechanism.value("smallestKey", std::uint64_t{0})) + " to " + std::to_string(largest);
            rows.push_back({shown(mechanism, "name"),
                            "reader \"" + shown(slot, "reader") + "\"" + (largest == 0 ? "" : ", keys of " + sizes)});
        }
    }
    return rows;
}

/// The scripts that cannot work, by the reason.
std::vector<std::pair<std::string, std::vector<std::string>>> refusedScripts(const Json& scripts) {
    std::vector<std::pair<std::string, std::vector<std::string>>> groups;
    for (const Json& script : scripts) {
        if (script.value("works", false)) {
            continue;
        }
        const std::string reason = joined(textsOf(listIn(script, "reasons")));
        const auto found = std::find_if(groups.begin(), groups.end(), [&](const auto& g) { return g.first == reason; });
        if (found == groups.end()) {
            groups.push_back({reason, {shown(script, "script")}});
        } else {
            found->second.push_back(shown(script, "script"));
        }
    }
    return groups;
}

/// What works, and what does not.
Rows scriptRows(const Json& report) {
    Rows rows;
    for (const Json& entry : listIn(report, "scripts")) {
        const Json scripts = listIn(entry, "scripts");
        const auto working = std::count_if(scripts.begin(), scripts.end(),
                                           [](const Json& script) { return script.value("works", false); });
        const std::string where = shown(entry, "token").empty() ? shown(entry, "reader") : shown(entry, "token");
        rows.push_back({where.empty() ? "this module" : where,
                        std::to_string(working) + " of " + std::to_string(scripts.size()) + " can work"});
        for (const auto& [reason, names] : refusedScripts(scripts)) {
            rows.push_back({"  not", reason + ": " + joined(names)});
        }
        for (const Json& script : scripts) {
            const std::vector<std::string> limits = textsOf(listIn(script, "limits"));
            if (script.value("works", false) && !limits.empty()) {
                rows.push_back({"  in part", shown(script, "script") + ": " + joined(limits)});
            }
        }
    }
    return rows;
}

std::string callsText(int count) {
    return std::to_string(count) + (count == 1 ? " call" : " calls");
}

Rows timeRows(const Json& report, ReportDepth depth) {
    std::vector<Json> times;
    for (const Json& entry : listIn(report, "times")) {
        times.push_back(entry);
    }
    std::stable_sort(times.begin(), times.end(), [](const Json& a, const Json& b) {
        return a.value("longest", std::uint64_t{0}) > b.value("longest", std::uint64_t{0});
    });
    if (depth == ReportDepth::Summary) {
        times.resize(std::min<std::size_t>(times.size(), 3));
    }
    Rows rows;
    for (const Json& entry : times) {
        const Json healthy = entry.value("healthy", Json());
        rows.push_back(
            {shown(entry, "call"),
             callsText(entry.value("count", 0)) + ", median " +
                 view::durationText(entry.value("median", std::int64_t{0})) + ", longest " +
                 view::durationText(entry.value("longest", std::int64_t{0})) +
                 (healthy.is_number() ? "; healthy " + view::durationText(healthy.get<std::int64_t>()) : "") +
                 (entry.value("slow", false) ? "; slow" : "")});
    }
    return rows;
}

std::string knownText(const Json& report, std::size_t width, ReportDepth depth) {
    const Json known = report.value("known", Json::object());
    const std::string product = shown(known, "product");
    if (product.empty()) {
        return "";
    }
    Rows rows;
    for (const Json& quirk : listIn(known, "quirks")) {
        if (depth == ReportDepth::Whole) {
            rows.push_back({shown(quirk, "title"), shown(quirk, "text")});
        }
    }
    if (depth == ReportDepth::Summary) {
        return wrapped("Known of " + product + ": " + std::to_string(listIn(known, "quirks").size()) +
                           " peculiarities, in the report of --out and in docs/tokens.md.\n",
                       width, 0) +
               "\n";
    }
    return section(("Known of " + product).c_str(), rows, width);
}

Rows writeTestRows(const Json& report) {
    Rows rows;
    const Json test = report.value("writeTest", Json());
    for (const Json& step : listIn(test, "steps")) {
        const std::string result = shown(step, "result");
        rows.push_back(
            {shown(step, "step"), step.value("done", false)
                                      ? "done, " + view::durationText(step.value("nanoseconds", std::int64_t{0}))
                                      : "refused: " + (result.empty() ? "" : result + ", ") + shown(step, "reason")});
    }
    return rows;
}

std::string findingsText(const Json& report, std::size_t width) {
    Rows rows;
    for (const Json& finding : listIn(report, "findings")) {
        const std::string remedy = shown(finding, "remedy");
        rows.push_back({shown(finding, "level"), shown(finding, "text") + "." + (remedy.empty() ? "" : "\n" + remedy)});
    }
    return section("Findings", rows, width);
}

std::string closing(const Json& report) {
    const std::string verdict = shown(report, "verdict");
    if (verdict == "healthy") {
        return "The module is in order.\n";
    }
    if (verdict == "warnings") {
        return "The module works; read the warnings.\n";
    }
    return verdict == "faults" ? "The module works in part; read the faults.\n" : "The module cannot be used.\n";
}

} // namespace

std::string doctorText(const Json& report, std::size_t width, ReportDepth depth) {
    const bool isWhole = depth == ReportDepth::Whole;
    return section("Module", moduleRows(report), width) + section("Readers", slotRows(report), width) +
           section("Scripts", scriptRows(report), width) +
           (isWhole ? section("Mechanisms", mechanismRows(report), width) : "") +
           section(isWhole ? "Times" : "Longest calls", timeRows(report, depth), width) +
           (isWhole ? wrapped("Healthy: " + shown(report, "healthySource") + ".\n", width, 0) + "\n" : "") +
           knownText(report, width, depth) + section("Write test", writeTestRows(report), width) +
           findingsText(report, width) + closing(report);
}

} // namespace host
