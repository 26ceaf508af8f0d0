#include "ctl/time_argument.h"

#include <charconv>
#include <chrono>
#include <ctime>

namespace {

constexpr char TIME_FORMAT[] = "%Y-%m-%d %H:%M:%S";
constexpr size_t DATE_LENGTH = 10;

std::optional<int64_t> ReadDuration(const std::string& text);
std::optional<int64_t> ReadDate(std::string text);
std::string FormatTime(const tm& fields);
bool IsOnCalendar(const tm& fields);

}  // namespace

std::optional<int64_t> ReadTimeArgument(const std::string& text, int64_t nNow) {
    const auto nAgo = ReadDuration(text);
    const auto nTime = nAgo ? nNow - *nAgo : ReadDate(text);
    return nTime && *nTime > 0 ? nTime : std::nullopt;
}

std::string LocalTimeText(int64_t nTime) {
    const time_t when = nTime;
    tm fields;
    return localtime_r(&when, &fields) ? FormatTime(fields) : std::to_string(nTime);
}

namespace {

std::optional<int64_t> ReadDuration(const std::string& text) {
    struct tagUnit {
        char letter;
        int64_t nSeconds;
    };
    constexpr tagUnit UNITS[] = {{'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}, {'w', 7 * 86400}};
    uint32_t nNumber = 0;
    const char* pEnd = text.data() + text.size();
    const auto [pRest, error] = std::from_chars(text.data(), pEnd, nNumber);
    if (error != std::errc() || pEnd - pRest != 1) return std::nullopt;
    for (const auto& unit : UNITS) {
        if (*pRest == unit.letter) return nNumber * unit.nSeconds;
    }
    return std::nullopt;
}

std::optional<int64_t> ReadDate(std::string text) {
    if (text.size() == DATE_LENGTH) text += " 00:00:00";
    if (text.size() == DATE_LENGTH + 6) text += ":00";
    if (text.size() > DATE_LENGTH && text[DATE_LENGTH] == 'T') text[DATE_LENGTH] = ' ';
    tm fields{};
    const char* pEnd = strptime(text.c_str(), TIME_FORMAT, &fields);
    // strptime takes blanks and missing digits; what was really written decides.
    if (!pEnd || *pEnd != '\0' || FormatTime(fields) != text || !IsOnCalendar(fields)) return std::nullopt;
    fields.tm_isdst = -1;
    return mktime(&fields);
}

std::string FormatTime(const tm& fields) {
    char szText[64];
    return {szText, strftime(szText, sizeof szText, TIME_FORMAT, &fields)};
}

bool IsOnCalendar(const tm& fields) {
    using namespace std::chrono;
    return year_month_day(year(fields.tm_year + 1900), month(static_cast<unsigned>(fields.tm_mon) + 1),
                          day(static_cast<unsigned>(fields.tm_mday)))
        .ok();
}

}  // namespace
