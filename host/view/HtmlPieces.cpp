#include "host/view/HtmlPieces.h"

#include <algorithm>
#include <cstdint>

#include "host/plugin/Texts.h"
#include "host/view/Shown.h"

namespace host::view {

std::string cell(const std::string& text, const char* classes) {
    return std::string("<td") + (*classes == '\0' ? "" : " class=\"" + std::string(classes) + "\"") + ">" +
           escaped(text) + "</td>";
}

std::string numberCell(const std::string& text) {
    return cell(text, "n");
}

std::string figure(const char* name, const std::string& value, bool isBad) {
    return std::string("<div") + (isBad ? " class=\"bad\"" : "") + "><dt>" + name + "</dt><dd>" + escaped(value) +
           "</dd></div>\n";
}

std::string allowed(const PagePart& part) {
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const std::string bytes = fromHexadecimal(part.sha256).value_or("");
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        std::uint32_t group = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            group = group << 8U | (at + i < bytes.size() ? static_cast<std::uint8_t>(bytes[at + i]) : 0U);
        }
        for (std::size_t i = 0; i < 4; ++i) {
            text += at + i <= bytes.size() ? kDigits[group >> (18 - 6 * i) & 63U] : '=';
        }
    }
    return "'sha256-" + text + "'";
}

std::string filled(std::string_view page, const std::vector<std::pair<std::string_view, std::string>>& values) {
    std::string text;
    for (;;) {
        const std::size_t at = page.find('@');
        text += page.substr(0, at);
        if (at == std::string_view::npos) {
            return text;
        }
        const std::size_t end = page.find('@', at + 1);
        const std::string_view name = page.substr(at + 1, end - at - 1);
        const auto value = std::find_if(values.begin(), values.end(), [&](const auto& v) { return v.first == name; });
        text += value == values.end() ? "" : value->second;
        page.remove_prefix(end == std::string_view::npos ? page.size() : end + 1);
    }
}

} // namespace host::view
