#include "host/view/Diagnosis.h"

#include <algorithm>
#include <utility>

#include "host/plugin/Texts.h"
#include "host/view/FileFindings.h"
#include "host/view/HealthyTimes.h"
#include "host/view/JsonFields.h"
#include "host/view/ModuleFindings.h"
#include "host/view/Quirks.h"
#include "host/view/Shown.h"
#include "host/view/TokenFindings.h"

namespace host {

namespace {

Json timesJson(const std::map<std::string, CallTimes>& calls, Findings& findings) {
    Json list = Json::array();
    for (const auto& [function, times] : calls) {
        std::vector<std::uint64_t> sorted = times.nanoseconds;
        std::sort(sorted.begin(), sorted.end());
        const std::uint64_t longest = sorted.back();
        const std::optional<std::uint64_t> healthy = healthyTime(function);
        list.push_back({{"call", function},
                        {"count", sorted.size()},
                        {"median", sorted[sorted.size() / 2]},
                        {"longest", longest},
                        {"healthy", healthy ? Json(*healthy) : Json(nullptr)},
                        {"slow", isSlow(function, longest)}});
        if (isSlow(function, longest)) {
            findings.push_back({Level::Warning,
                                function + " took " + view::durationText(static_cast<std::int64_t>(longest)) +
                                    "; a healthy one takes " +
                                    view::durationText(static_cast<std::int64_t>(healthy.value_or(0))),
                                "A card is slower than software: look whether the time is the card's, the reader's or "
                                "another program's that holds the card."});
        }
    }
    return list;
}

Json quirksOf(const Json& facts) {
    const Json info = facts.value("info", Json::object());
    const std::optional<Product> product = productOf(textIn(info, "manufacturer"), textIn(info, "description"));
    Json list = Json::array();
    for (const Quirk& quirk : quirks()) {
        if (product == quirk.product) {
            list.push_back({{"title", quirk.title}, {"text", quirk.text}, {"surprise", quirk.isSurprise}});
        }
    }
    return {{"product", product ? Json(nameOf(*product)) : Json(nullptr)}, {"quirks", std::move(list)}};
}

/// Each token with what the scripts can do on it; the module alone where there is no token.
Json scriptsOf(const Json& missing, const Json& slots) {
    Json list = Json::array();
    for (const Json& slot : slots) {
        if (slot.contains("token")) {
            list.push_back({{"reader", textIn(slot, "reader")},
                            {"token", textIn(slot["token"], "label")},
                            {"scripts", judgeScripts(missing, slot)}});
        }
    }
    if (list.empty()) {
        list.push_back({{"reader", nullptr}, {"token", nullptr}, {"scripts", judgeScripts(missing, Json::object())}});
    }
    return list;
}

Verdict verdictOf(const Findings& findings, bool isUsable) {
    const auto has = [&](Level level) {
        return std::any_of(findings.begin(), findings.end(), [&](const Finding& f) { return f.level == level; });
    };
    if (!isUsable) {
        return Verdict::Unusable;
    }
    return has(Level::Fault) ? Verdict::Faults : (has(Level::Warning) ? Verdict::Warnings : Verdict::Healthy);
}

} // namespace

const char* nameOf(Verdict verdict) {
    switch (verdict) {
    case Verdict::Healthy:
        return "healthy";
    case Verdict::Warnings:
        return "warnings";
    case Verdict::Faults:
        return "faults";
    default:
        return "unusable";
    }
}

Diagnosis diagnose(const std::string& module, const Examination& examination) {
    const Json& facts = examination.facts;
    const Json slots = facts.value("slots", Json::array());
    const Json functions = facts.value("functions", Json::object());
    const Json missing = functions.is_object() ? functions.value("missing", Json::array()) : Json::array();
    const std::string file = textIn(facts, "file");
    Findings findings;
    const bool isUsable = addModuleFindings(examination, findings);
    for (const Json& slot : slots) {
        addTokenFindings(slot, findings);
    }
    addFileFindings(file, findings);
    Json report = {{"module", module}};
    for (const char* const key :
         {"file", "library", "loadError", "missing", "functions", "interfaces", "layout", "info"}) {
        report[key] = facts.value(key, Json(nullptr));
    }
    report["slots"] = slots;
    report["scripts"] = isUsable ? scriptsOf(missing, slots) : Json::array();
    report["known"] = quirksOf(facts);
    report["times"] = timesJson(examination.calls, findings);
    report["healthySource"] = kHealthySource;
    report["underWay"] = examination.underWay.empty() ? Json(nullptr) : Json(examination.underWay);
    std::stable_sort(findings.begin(), findings.end(),
                     [](const Finding& a, const Finding& b) { return a.level > b.level; });
    const Verdict verdict = verdictOf(findings, isUsable);
    report["findings"] = findingsJson(findings);
    report["verdict"] = nameOf(verdict);
    return {verdict, std::move(report)};
}

} // namespace host
