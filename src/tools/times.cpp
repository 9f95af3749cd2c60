#include "tools/times.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <string_view>
#include <tuple>

namespace Times {

namespace {

constexpr long long Latest = 253402300799; // 9999-12-31 23:59:59 UTC: years have four digits

/** Takes exactly `digits` digits from the beginning of a text. */
bool takeNumber(std::string_view* text, std::size_t digits, int* number)
{
    const std::string_view word = text->substr(0, digits);
    if (word.size() != digits || word.find_first_not_of("0123456789") != std::string_view::npos)
        return false;
    (void)std::from_chars(word.data(), word.data() + word.size(), *number); // ignored: these are a few digits
    text->remove_prefix(digits);
    return true;
}

bool takeOneOf(std::string_view* text, std::string_view characters)
{
    if (text->empty() || characters.find(text->front()) == std::string_view::npos)
        return false;
    text->remove_prefix(1);
    return true;
}

bool takeFraction(std::string_view* text)
{
    if (!takeOneOf(text, "."))
        return true;
    const std::size_t digits = std::min(text->find_first_not_of("0123456789"), text->size());
    text->remove_prefix(digits);
    return digits > 0;
}

bool takeDateAndTime(std::string_view* text, std::tm* parts)
{
    if (!takeNumber(text, 4, &parts->tm_year) || !takeOneOf(text, "-") || !takeNumber(text, 2, &parts->tm_mon) ||
        !takeOneOf(text, "-") || !takeNumber(text, 2, &parts->tm_mday) || !takeOneOf(text, "Tt ") ||
        !takeNumber(text, 2, &parts->tm_hour) || !takeOneOf(text, ":") || !takeNumber(text, 2, &parts->tm_min))
        return false;
    parts->tm_year -= 1900;
    parts->tm_mon -= 1;
    return !takeOneOf(text, ":") || (takeNumber(text, 2, &parts->tm_sec) && takeFraction(text));
}

auto fields(const std::tm& parts)
{
    return std::tuple(parts.tm_year, parts.tm_mon, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
}

bool isInCalendar(const std::tm& parts)
{
    std::tm same = parts;
    return ::timegm(&same) != -1 && fields(same) == fields(parts);
}

/** Returns an empty string, or why the local time does not occur exactly once in this time zone. */
std::string readLocal(const std::tm& parts, std::time_t* time)
{
    std::optional<std::time_t> found;
    for (const int summer : {0, 1}) {
        std::tm local = parts;
        local.tm_isdst = summer;
        const std::time_t candidate = std::mktime(&local);
        std::tm back = {};
        if (candidate == -1 || ::localtime_r(&candidate, &back) == nullptr || fields(back) != fields(parts))
            continue;
        if (found && *found != candidate)
            return "occurs twice in this time zone, as its clocks are set back; add the offset, such as +01:00";
        found = candidate;
    }
    if (!found)
        return "does not occur in this time zone, as its clocks are set forward";
    *time = *found;
    return {};
}

/** Seconds east of Greenwich. */
bool takeOffset(std::string_view* text, int* seconds)
{
    if (takeOneOf(text, "Zz"))
        return text->empty();
    if (text->empty())
        return false;
    const int sign = text->front() == '-' ? -1 : 1;
    int hours = 0;
    int minutes = 0;
    if (!takeOneOf(text, "+-") || !takeNumber(text, 2, &hours) || !takeOneOf(text, ":") ||
        !takeNumber(text, 2, &minutes) || hours > 23 || minutes > 59)
        return false;
    *seconds = sign * (hours * 60 + minutes) * 60;
    return text->empty();
}

} // namespace

std::string text(std::optional<std::time_t> time)
{
    std::tm parts = {};
    std::array<char, 64> text = {};
    if (!time || ::gmtime_r(&*time, &parts) == nullptr ||
        std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S UTC", &parts) == 0)
        return "unknown";
    return text.data();
}

std::string read(const std::string& text, std::time_t* time)
{
    const std::string quoted = '"' + text + '"';
    const char* const end = text.data() + text.size();
    long long seconds = 0;
    if (const auto [rest, error] = std::from_chars(text.data(), end, seconds); error == std::errc() && rest == end) {
        if (seconds < 0 || seconds > Latest)
            return quoted + " is not a time from 1970 to 9999, in seconds since 1970";
        *time = static_cast<std::time_t>(seconds);
        return {};
    }
    std::string_view rest = text;
    std::tm parts = {};
    if (takeDateAndTime(&rest, &parts) && isInCalendar(parts)) {
        if (rest.empty()) {
            const std::string problem = readLocal(parts, time);
            return problem.empty() ? problem : quoted + ' ' + problem;
        }
        int offset = 0;
        if (rest == " UTC" || takeOffset(&rest, &offset)) {
            *time = ::timegm(&parts) - offset;
            return {};
        }
    }
    return quoted +
           " is not a time; write it as in 2026-11-22T14:05:00Z, as \"2026-11-22 14:05:00\" in the local time zone, "
           "or in seconds since 1970";
}

} // namespace Times
