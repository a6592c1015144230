#include "host/view/SvgPieces.h"

#include <array>
#include <cstdio>

#include "host/view/Shown.h"

namespace host::view {

std::string number(double value) {
    std::array<char, 40> text = {};
    std::snprintf(text.data(), text.size(), "%.2f", value);
    return text.data();
}

std::string attribute(const char* name, double value) {
    return std::string(" ") + name + "=\"" + number(value) + "\"";
}

std::string rectangle(double x, double y, double width, double height, const std::string& fill,
                      const std::string& more) {
    return "<rect" + attribute("x", x) + attribute("y", y) + attribute("width", width) + attribute("height", height) +
           " fill=\"" + fill + "\"" + more;
}

std::string label(double x, double y, const std::string& text, const std::string& more) {
    return "<text" + attribute("x", x) + attribute("y", y) + more + ">" + escaped(text) + "</text>\n";
}

} // namespace host::view
