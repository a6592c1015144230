#include "host/view/Findings.h"

#include <utility>

namespace host {

const char* nameOf(Level level) {
    return level == Level::Fault ? "fault" : (level == Level::Warning ? "warning" : "note");
}

Json findingsJson(const Findings& findings) {
    Json list = Json::array();
    for (const Finding& finding : findings) {
        list.push_back({{"level", nameOf(finding.level)}, {"text", finding.text}, {"remedy", finding.remedy}});
    }
    return list;
}

void putFirst(const Findings& findings, Json& report) {
    Json list = findingsJson(findings);
    for (const Json& other : report["findings"]) {
        list.push_back(other);
    }
    report["findings"] = std::move(list);
}

} // namespace host
