#include "host/view/Shown.h"

#include <array>
#include <chrono>
#include <cstdio>

#include "host/plugin/Texts.h"

namespace host::view {

namespace {

struct Unit {
    double nanoseconds;
    const char* name;
};

constexpr std::array<Unit, 3> kUnits = {{{1e9, " s"}, {1e6, " ms"}, {1e3, " µs"}}};
constexpr double kLongest = 1000; // seconds; from there on minutes and hours

std::string formatted(const char* format, double number) {
    std::array<char, 40> text = {};
    std::snprintf(text.data(), text.size(), format, number);
    return text.data();
}

std::string padded(unsigned number, int width) {
    std::array<char, 12> text = {};
    std::snprintf(text.data(), text.size(), "%0*u", width, number);
    return text.data();
}

/// At least three digits of a number from 1 to 999.
std::string threeDigits(double number) {
    return formatted(number < 9.995 ? "%.2f" : (number < 99.95 ? "%.1f" : "%.0f"), number);
}

std::string longText(std::int64_t seconds) {
    const auto part = [](std::int64_t number) { return padded(static_cast<unsigned>(number), 2); };
    return seconds < 3600 ? std::to_string(seconds / 60) + "m" + part(seconds % 60) + "s"
                          : std::to_string(seconds / 3600) + "h" + part(seconds / 60 % 60) + "m";
}

} // namespace

std::string durationText(std::int64_t nanoseconds) {
    const auto number = static_cast<double>(nanoseconds);
    if (nanoseconds == 0) {
        return "0";
    }
    if (number >= kLongest * 1e9) {
        return longText(nanoseconds / 1'000'000'000);
    }
    for (const Unit& unit : kUnits) {
        if (number >= unit.nanoseconds * 0.9995) {
            return threeDigits(number / unit.nanoseconds) + unit.name;
        }
    }
    return std::to_string(nanoseconds) + " ns";
}

std::string instantText(std::int64_t nanoseconds) {
    using namespace std::chrono;
    const sys_time<std::chrono::nanoseconds> instant{std::chrono::nanoseconds(nanoseconds)};
    const auto day = floor<days>(instant);
    const year_month_day date(day);
    const auto second = static_cast<unsigned>(duration_cast<seconds>(instant - day).count());
    const auto fraction = static_cast<unsigned>(nanoseconds / 1000 % 1'000'000);
    return std::to_string(static_cast<int>(date.year())) + "-" + padded(static_cast<unsigned>(date.month()), 2) + "-" +
           padded(static_cast<unsigned>(date.day()), 2) + " " + padded(second / 3600, 2) + ":" +
           padded(second / 60 % 60, 2) + ":" + padded(second % 60, 2) + "." + padded(fraction, 6) + " UTC";
}

std::string countText(std::size_t count, const char* noun) {
    const std::string word = noun;
    const std::string plural = word.ends_with("ss") ? word + "es" : word + "s";
    return std::to_string(count) + " " + (count == 1 ? word : plural);
}

std::string timesText(std::size_t count) {
    return count == 1 ? "once" : std::to_string(count) + " times";
}

std::string escaped(std::string_view utf8) {
    std::string text;
    for (const char c : printable(utf8)) {
        switch (c) {
        case '<':
            text += "&lt;";
            break;
        case '>':
            text += "&gt;";
            break;
        case '&':
            text += "&amp;";
            break;
        case '"':
            text += "&quot;";
            break;
        case '\'':
            text += "&#39;";
            break;
        default:
            text += c;
        }
    }
    return text;
}

} // namespace host::view
