#include "log/log.h"

#include <array>
#include <atomic>
#include <ctime>

namespace {

// The main thread writes both before other threads exist; atomic, so that this is also formally free of data races.
std::atomic<int> processThreshold{LogInfo};
std::atomic<std::FILE*> processDestination{nullptr};

const char* levelName(int level)
{
    static constexpr std::array names{"DEBUG", "INFO", "WARN", "ERROR", "CRIT"};
    if (level < LogDebug || level > LogCrit)
        return "INVALID";
    return names[static_cast<std::size_t>(level - LogDebug)];
}

/** Local time as "Mon Jan 07 09:05:03 2019": English regardless of the locale, the day always with two digits. */
void writeTime(std::ostream& stream)
{
    static constexpr std::array days{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static constexpr std::array months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    if (localtime_r(&now, &local) == nullptr)
        return;
    char text[64];
    std::snprintf(text, sizeof text, "%s %s %02d %02d:%02d:%02d %d", days[static_cast<std::size_t>(local.tm_wday)],
                  months[static_cast<std::size_t>(local.tm_mon)], local.tm_mday, local.tm_hour, local.tm_min,
                  local.tm_sec, local.tm_year + 1900);
    stream << text;
}

} // namespace

Log::~Log()
{
    std::FILE* destination = processDestination.load(std::memory_order_relaxed);
    if (destination == nullptr)
        return;
    // One formatted write per line keeps lines whole. "%s" truncates a message at a zero byte in a client's data; the
    // newline is part of the format, so even such a line does not run into the next one.
    const std::string text = std::move(stream_).str();
    std::fprintf(destination, "%s\n", text.c_str());
    std::fflush(destination);
}

std::ostream& Log::open(int level)
{
    stream_ << '[';
    writeTime(stream_);
    stream_ << "] [" << levelName(level) << "] ";
    return stream_;
}

bool Log::enabled(int level)
{
    return level >= processThreshold.load(std::memory_order_relaxed);
}

void Log::setThreshold(int threshold)
{
    processThreshold.store(threshold, std::memory_order_relaxed);
}

void Log::setDestination(std::FILE* destination)
{
    processDestination.store(destination, std::memory_order_relaxed);
}

void Log::writeRaw(std::string_view text)
{
    std::FILE* destination = processDestination.load(std::memory_order_relaxed);
    if (destination == nullptr)
        return;
    std::fprintf(destination, "%.*s\n", static_cast<int>(text.size()), text.data());
    std::fflush(destination);
}

std::ostream& operator<<(std::ostream& stream, const QByteArray& bytes)
{
    return stream.write(bytes.constData(), bytes.size());
}
