#include "framework/log/TimeText.h"

#include <chrono>

namespace Ry::log {
namespace {

/// Zero-padded.
template <int kCount>
void writeDigits(char* target, std::uint32_t number) noexcept {
    for (int i = kCount - 1; i >= 0; --i) {
        target[i] = static_cast<char>('0' + number % 10);
        number /= 10;
    }
}

} // namespace

std::string_view TimeText::of(std::int64_t time) noexcept {
    using namespace std::chrono;
    const microseconds instant(time);
    const auto whole = floor<seconds>(instant);
    if (whole.count() != m_second) {
        writeSecond(whole.count());
    }
    writeDigits<6>(m_text + 20, static_cast<std::uint32_t>((instant - whole).count()));
    return {m_text, sizeof(m_text) - 1};
}

void TimeText::writeSecond(std::int64_t second) noexcept {
    using namespace std::chrono;
    const sys_seconds instant{seconds(second)};
    const auto day = floor<days>(instant);
    const year_month_day date(day);
    const auto ofDay = static_cast<std::uint32_t>((instant - day).count());
    writeDigits<4>(m_text, static_cast<std::uint32_t>(static_cast<int>(date.year())));
    writeDigits<2>(m_text + 5, static_cast<unsigned int>(date.month()));
    writeDigits<2>(m_text + 8, static_cast<unsigned int>(date.day()));
    writeDigits<2>(m_text + 11, ofDay / 3600);
    writeDigits<2>(m_text + 14, ofDay / 60 % 60);
    writeDigits<2>(m_text + 17, ofDay % 60);
    m_second = second;
}

} // namespace Ry::log
