#include <algorithm>
#include <array>
#include <string_view>

#include <nlohmann/json.hpp>

#include "host/plugin/Texts.h"
#include "host/view/HtmlPieces.h"
#include "host/view/Kinds.h"
#include "host/view/PageParts.h"
#include "host/view/Pictures.h"
#include "host/view/Shown.h"
#include "host/view/Statistics.h"

namespace host::view {

namespace {

using Json = nlohmann::json;

// --- The tables
// -------------------------------------------------------------------------------------------------------

std::string totalRows(const std::vector<Total>& totals) {
    std::string rows;
    for (const Total& total : totals) {
        rows += "<tr>" + cell(total.function) +
                cell(kKinds[static_cast<std::size_t>(kindOf(total.function))].name, "quiet") +
                numberCell(std::to_string(total.count)) +
                cell(total.failures == 0 ? "" : std::to_string(total.failures), "n bad") +
                numberCell(durationText(static_cast<std::int64_t>(total.sum))) +
                numberCell(durationText(total.median)) + numberCell(durationText(total.percentile)) +
                numberCell(durationText(total.longest)) + "</tr>\n";
    }
    return rows;
}

std::string buttonCell(std::size_t call) {
    return "<td class=\"act\"><button type=\"button\" data-call=\"" + std::to_string(call) + "\">Show</button></td>";
}

std::string failureTable(const Timeline& timeline) {
    std::string rows;
    for (const FailureGroup& group : failuresOf(timeline)) {
        const std::int64_t after = timeline.calls[group.first].call.time - timeline.start;
        rows += "<tr>" + cell(group.result, group.isExpected ? "" : "bad") + cell(group.function) +
                numberCell(std::to_string(group.count)) + numberCell(durationText(after)) +
                cell(group.isExpected ? "programs often expect it" : "", "quiet") + buttonCell(group.first) + "</tr>\n";
    }
    return rows.empty() ? ""
                        : "<section><h2>Failures</h2><table id=\"failures\"><thead><tr><th scope=\"col\">Result</th>"
                          "<th scope=\"col\">Function</th><th scope=\"col\" class=\"n\">Count</th>"
                          "<th scope=\"col\" class=\"n\">First after</th><th></th><th class=\"act\"></th></tr></thead>"
                          "<tbody>" +
                              rows + "</tbody></table></section>\n";
}

std::string spanTable(const Timeline& timeline) {
    std::string rows;
    for (const Span& span : timeline.spans) {
        rows += "<tr>" + cell(span.name, span.isCommand ? "" : "inner") +
                cell(span.error.empty() ? "" : "ERROR " + span.error, "bad") + numberCell(std::to_string(span.calls)) +
                numberCell(durationText(span.inModule)) + numberCell(durationText(span.end - span.begin)) + "</tr>\n";
    }
    return rows.empty() ? ""
                        : "<section><h2>Commands and scripts</h2><table><thead><tr><th scope=\"col\">Name</th>"
                          "<th scope=\"col\">Failure</th><th scope=\"col\" class=\"n\">Calls</th>"
                          "<th scope=\"col\" class=\"n\">In the module</th><th scope=\"col\" class=\"n\">In all</th>"
                          "</tr></thead><tbody>" +
                              rows + "</tbody></table></section>\n";
}

// --- The head
// ---------------------------------------------------------------------------------------------------------

std::string figures(const Timeline& timeline, const std::vector<Total>& totals) {
    double inModule = 0;
    for (const Total& total : totals) {
        inModule += total.sum;
    }
    constexpr double kLongest = 9e18;
    inModule = std::min(inModule, kLongest);
    return figure("Calls", std::to_string(timeline.calls.size())) +
           figure("Failed", std::to_string(timeline.failures), timeline.failures != 0) +
           figure("Time", durationText(timeline.segments.back().end)) +
           figure("In the module", durationText(static_cast<std::int64_t>(inModule))) +
           figure("Processes", std::to_string(timeline.processes)) +
           figure("Threads", std::to_string(timeline.threads.size())) +
           figure("Sessions", std::to_string(timeline.sessions));
}

std::string notes(const Timeline& timeline) {
    std::string text;
    for (const std::string& note : timeline.notes) {
        text += "<p>" + escaped(note) + "</p>";
    }
    return text.empty() ? "" : "<div class=\"notes\">" + text + "</div>";
}

/// The names of the files without their folders, which say nothing of the card.
std::string fileNames(const Timeline& timeline) {
    std::vector<std::string> names;
    for (const std::string& file : timeline.files) {
        const std::size_t at = file.find_last_of("/\\");
        names.push_back(at == std::string::npos ? file : file.substr(at + 1));
    }
    return joined(names);
}

// --- The data
// ---------------------------------------------------------------------------------------------------------

/// The calls as columns. `handles` gets the texts of their sessions: handles may be larger than a script counts.
Json columnsOf(const Timeline& timeline, Texts& handles) {
    std::array<Json, 9> columns;
    columns.fill(Json::array());
    for (const PlacedCall& placed : timeline.calls) {
        const Call& call = placed.call;
        const bool isExpected = isOftenExpected(timeline.functions[call.function], timeline.results[call.result]);
        columns[0].push_back(placed.shown);
        columns[1].push_back(call.duration);
        columns[2].push_back(call.function);
        columns[3].push_back(call.result);
        columns[4].push_back(call.detail);
        columns[5].push_back(call.hasFailed ? (isExpected ? 2 : 1) : 0);
        columns[6].push_back(placed.command);
        columns[7].push_back(placed.script);
        columns[8].push_back(call.session ? std::int64_t{handles.numberOf(std::to_string(*call.session))} : -1);
    }
    constexpr std::array<const char*, 9> kNames = {"shown",  "duration", "function", "result", "detail",
                                                   "failed", "command",  "script",   "session"};
    Json object;
    for (std::size_t i = 0; i < kNames.size(); ++i) {
        object[kNames[i]] = std::move(columns[i]);
    }
    return object;
}

Json textsOf(const Texts& texts) {
    Json list = Json::array();
    for (std::uint32_t i = 0; i < texts.size(); ++i) {
        list.push_back(texts[i]);
    }
    return list;
}

Json functionsOf(const Timeline& timeline) {
    Json list = Json::array();
    for (std::uint32_t i = 0; i < timeline.functions.size(); ++i) {
        const std::string& name = timeline.functions[i];
        list.push_back({{"name", printable(name)}, {"kind", static_cast<std::size_t>(kindOf(name))}});
    }
    return list;
}

Json threadsOf(const Timeline& timeline) {
    Json threads = Json::array();
    for (const ThreadBlock& block : timeline.threads) {
        Json lanes = Json::array();
        for (const Lane& lane : block.lanes) {
            Json sessions = Json::array();
            for (const SessionSpan& session : lane.sessions) {
                sessions.push_back(Json::array({std::to_string(session.handle), session.begin, session.end}));
            }
            lanes.push_back({{"sessions", std::move(sessions)}, {"calls", lane.calls}});
        }
        // Numbers of the system may be larger than a script counts.
        threads.push_back({{"process", std::to_string(block.process)},
                           {"thread", std::to_string(block.thread)},
                           {"commands", block.commands},
                           {"scripts", block.scripts},
                           {"lanes", std::move(lanes)}});
    }
    return threads;
}

Json spansOf(const Timeline& timeline) {
    Json list = Json::array();
    for (const Span& span : timeline.spans) {
        list.push_back({{"name", printable(span.name)},
                        {"begin", span.begin},
                        {"end", span.end},
                        {"error", printable(span.error)}});
    }
    return list;
}

/// The data as JSON in which nothing ends the element that it stands in.
std::string dataOf(const Timeline& timeline) {
    Texts handles;
    Json calls = columnsOf(timeline, handles);
    Json data = {{"start", std::to_string(timeline.start)},
                 {"length", timeline.length},
                 {"failureColour", kFailureColour},
                 {"functions", functionsOf(timeline)},
                 {"results", textsOf(timeline.results)},
                 {"details", textsOf(timeline.details)},
                 {"calls", std::move(calls)},
                 {"sessions", textsOf(handles)},
                 {"threads", threadsOf(timeline)},
                 {"spans", spansOf(timeline)},
                 {"kinds", Json::array()},
                 {"segments", Json::array()}};
    for (const KindRow& kind : kKinds) {
        data["kinds"].push_back({{"name", kind.name}, {"colour", kind.colour}});
    }
    for (const Segment& segment : timeline.segments) {
        data["segments"].push_back(Json::array({segment.shown, segment.begin, segment.end}));
    }
    std::string text;
    for (const char c : data.dump(-1, ' ', false, Json::error_handler_t::replace)) {
        if (c == '<') {
            text += "\\u003c";
        } else {
            text += c;
        }
    }
    return text;
}

// --- The page
// ---------------------------------------------------------------------------------------------------------

std::string policy() {
    return "default-src 'none'; script-src " + allowed(kPageChart) + " " + allowed(kPageScript) + "; style-src " +
           allowed(kPageStyle) + "; base-uri 'none'; form-action 'none'";
}

} // namespace

std::string pageOf(const Timeline& timeline) {
    const std::string files = escaped(fileNames(timeline));
    const std::vector<Total> totals = totalsOf(timeline);
    return filled(kPageHtml.text, {{"POLICY", policy()},
                                   {"TITLE", files},
                                   {"STYLE", std::string(kPageStyle.text)},
                                   {"SOURCE", files + " &middot; from " + escaped(instantText(timeline.start))},
                                   {"FIGURES", figures(timeline, totals)},
                                   {"NOTES", notes(timeline)},
                                   {"FAILURES", failureTable(timeline)},
                                   {"SPANS", spanTable(timeline)},
                                   {"TOTALS", totalRows(totals)},
                                   {"VERSION", P11HOST_VERSION},
                                   {"DATA", dataOf(timeline)},
                                   {"CHART", std::string(kPageChart.text)},
                                   {"PAGE", std::string(kPageScript.text)}});
}

} // namespace host::view
