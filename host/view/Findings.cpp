#include "host/view/Findings.h"

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

} // namespace host
