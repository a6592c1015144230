#pragma once

#include <string_view>

// The files of page/, which the build puts into the program.

namespace host::view {

struct PagePart {
    std::string_view text;
    std::string_view sha256; ///< hexadecimal digits of the text's hash, which the page allows to run
};

extern const PagePart kPageHtml;
extern const PagePart kPageStyle;
extern const PagePart kPageChart;
extern const PagePart kPageScript;
extern const PagePart kPageReportHtml;
extern const PagePart kPageReportStyle;

} // namespace host::view
