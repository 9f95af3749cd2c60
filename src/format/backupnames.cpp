#include "format/backupnames.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <system_error>

namespace BackupNames {

namespace {

constexpr std::string_view Prefix = "log.";
constexpr std::size_t Digits = 10;

} // namespace

std::string logFile(std::uint32_t number)
{
    char name[32];
    std::snprintf(name, sizeof name, "log.%010u", number);
    return name;
}

std::optional<std::uint32_t> logNumber(std::string_view name)
{
    if (name.size() != Prefix.size() + Digits || !name.starts_with(Prefix))
        return std::nullopt;
    std::uint32_t number = 0; // Berkeley DB counts no further
    const char* end = name.data() + name.size();
    const auto parsed = std::from_chars(name.data() + Prefix.size(), end, number);
    return parsed.ec == std::errc() && parsed.ptr == end ? std::optional(number) : std::nullopt;
}

bool isTakenForLogFile(std::string_view name)
{
    return name.size() > Prefix.size() && name.starts_with(Prefix) &&
           std::all_of(name.begin() + Prefix.size(), name.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool isReserved(std::string_view name)
{
    return name == Marker || name == ListFile || name == UnfinishedListFile || name == ListDraft ||
           name == LogDirectory;
}

std::optional<std::uint32_t> shippedLogNumber(std::string_view name)
{
    if (name.ends_with(ReplacedSuffix))
        name.remove_suffix(ReplacedSuffix.size());
    return logNumber(name);
}

} // namespace BackupNames
