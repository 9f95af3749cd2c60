#include "tools/units.h"

#include "client/latencyhistogram.h"

#include <QDateTime>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace Units {

namespace {

std::string formatted(const char* format, double number, const char* unit)
{
    char text[64];
    std::snprintf(text, sizeof text, format, number);
    return std::string(text) + unit;
}

std::string twoUnits(long long number, const char* unit, long long rest, const char* smaller)
{
    return std::to_string(number) + unit + (rest > 0 ? ' ' + std::to_string(rest) + smaller : "");
}

/** With three digits at most and without zeros at the end: "2.5", "10", "123". */
std::string brief(double number)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.3g", number);
    return text;
}

} // namespace

std::string bytes(double bytes)
{
    constexpr std::array Larger{" KiB", " MiB", " GiB", " TiB", " PiB"};
    if (bytes < 1024)
        return formatted("%.0f", bytes, " B");
    std::size_t unit = 0;
    double number = bytes / 1024;
    for (; number >= 1023.95 && unit + 1 < Larger.size(); ++unit)
        number /= 1024;
    return formatted("%.1f", number, Larger[unit]);
}

std::string duration(double seconds)
{
    if (seconds < 9.95)
        return formatted("%.1f", std::max(seconds, 0.0), " s");
    const long long whole = std::llround(seconds);
    constexpr long long Minute = 60;
    constexpr long long Hour = 60 * Minute;
    constexpr long long Day = 24 * Hour;
    if (whole < Minute)
        return std::to_string(whole) + " s";
    if (whole < Hour)
        return twoUnits(whole / Minute, " min", whole % Minute, " s");
    if (whole < Day)
        return twoUnits(whole / Hour, " h", whole % Hour / Minute, " min");
    return twoUnits(whole / Day, " d", whole % Day / Hour, " h");
}

std::string latency(qint64 microseconds)
{
    if (microseconds == Client::Latencies::Beyond)
        return "longer";
    constexpr double Thousand = 999.5; // is shown as that
    const auto number = static_cast<double>(microseconds);
    if (number < Thousand)
        return brief(number) + " us";
    return number < Thousand * 1e3 ? brief(number / 1e3) + " ms" : brief(number / 1e6) + " s";
}

std::string rate(double perSecond)
{
    if (perSecond <= 0)
        return "0";
    if (perSecond < 0.01)
        return "<0.01";
    const char* const format = perSecond < 0.995 ? "%.2f" : perSecond < 99.95 ? "%.1f" : "%.0f";
    return formatted(format, perSecond, "");
}

std::string percentage(double part, double whole)
{
    return whole > 0 ? formatted("%.1f", 100 * part / whole, " %") : "-";
}

std::string date(double secondsSince1970)
{
    if (secondsSince1970 <= 0)
        return "-";
    return QDateTime::fromSecsSinceEpoch(static_cast<qint64>(secondsSince1970))
        .toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))
        .toStdString();
}

} // namespace Units
