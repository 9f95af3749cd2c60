#include "tools/directorysettings.h"

#include "format/serversettings.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <sstream>
#include <system_error>

#include <unistd.h>

namespace DirectorySettings {

namespace {

constexpr std::uint64_t GiB = 1024 * 1024 * 1024;
constexpr std::uint64_t DefaultCacheBytes = 64 * 1024 * 1024;
constexpr std::uint64_t LeastCacheBytes = 1024 * 1024; // with much less, an environment hangs under many clients

constexpr std::string_view Heading = "# Settings for Berkeley DB, read each time a server opens this directory.\n";

/** A line of the file, and what it is for. */
struct Setting {
    const char* comment;
    std::string name; // the words that identify it
    std::string value;
    bool replaces = false;

    std::string line() const { return name + ' ' + value; }
};

std::string cacheValue(std::uint64_t bytes)
{
    return std::to_string(bytes / GiB) + ' ' + std::to_string(bytes % GiB) + " 1";
}

std::vector<Setting> settings(std::optional<std::uint64_t> cacheBytes)
{
    return {
        {"# A commit writes the log and then flushes it, instead of writing it synchronously. It is on disk either "
         "way.",
         "log_set_config db_log_dsync", "off"},
        {"# The cache of database pages: GiB, plus bytes, number of pieces.", "set_cachesize",
         cacheValue(cacheBytes.value_or(DefaultCacheBytes)), cacheBytes.has_value()},
        {"# The size of a log file in bytes. At least 4 MiB, which is four times the log's buffer.", "set_lg_max",
         "41943040"},
        {"# The next log file is prepared while one is being written, so that a flush need not extend a file. For the "
         "server.",
         std::string(ServerSettings::Mark) + ' ' + ServerSettings::PrepareLogFiles, "on"},
        {"# Log files that are not needed are removed, unless a backup needs them. For the server; Berkeley DB ignores "
         "it.",
         std::string(ServerSettings::Mark) + ' ' + ServerSettings::RemoveUnneededLogs, "on"},
    };
}

/** The line with single spaces between words and none around them. */
std::string normalised(const std::string& line)
{
    std::istringstream words(line);
    std::string result;
    for (std::string word; words >> word;)
        result += (result.empty() ? "" : " ") + word;
    return result;
}

std::vector<std::string> linesOf(std::string_view text)
{
    std::istringstream stream{std::string(text)};
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

/** Replaces the last line of a setting, which is the one in effect. */
void replace(const Setting& setting, std::vector<std::string>* lines, Merged* merged)
{
    const auto isOld = [&](const std::string& line) { return normalised(line).starts_with(setting.name + ' '); };
    const auto last = std::find_if(lines->rbegin(), lines->rend(), isOld);
    if (last == lines->rend()) {
        merged->added.push_back(setting.line());
        lines->insert(lines->end(), {setting.comment, setting.line()});
        return;
    }
    if (!setting.replaces || normalised(*last) == setting.line())
        return;
    merged->changed.push_back(normalised(*last) + " with " + setting.line());
    *last = setting.line();
}

} // namespace

Merged merge(std::string_view text, std::optional<std::uint64_t> cacheBytes)
{
    Merged merged;
    std::vector<std::string> lines = linesOf(text);
    for (const Setting& setting : settings(cacheBytes))
        replace(setting, &lines, &merged);
    if (text.empty())
        merged.text = Heading;
    for (const std::string& line : lines)
        merged.text += line + '\n';
    return merged;
}

std::string readCacheSize(const std::string& text, std::uint64_t* bytes)
{
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [unit, error] = std::from_chars(text.data(), end, number);
    constexpr std::string_view Units = "KMG";
    const std::size_t power = unit == end ? 0 : Units.find(*unit) + 1; // 0 also for an unknown unit
    if (error == std::errc::invalid_argument || (unit != end && (power == 0 || unit + 1 != end)))
        return "\"" + text + "\" is not a size; use a number of bytes, or a number followed by K, M or G";
    if (error == std::errc() && number << (10 * power) >> (10 * power) == number)
        number <<= 10 * power;
    else
        number = UINT64_MAX;
    if (number < LeastCacheBytes)
        return "a cache of " + text + " is too small; the minimum is 1M";
    const std::uint64_t memory =
        static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES)) * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    if (number > memory)
        return "a cache of " + text + " is more than the memory of this machine";
    *bytes = number;
    return {};
}

} // namespace DirectorySettings
