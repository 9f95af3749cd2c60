#include "format/logfiles.h"

#include "base/directoryentries.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <system_error>

namespace LogFiles {

namespace {

constexpr std::string_view Prefix = "log.";
constexpr std::size_t Digits = 10;

} // namespace

std::string name(std::uint32_t number)
{
    char text[32];
    std::snprintf(text, sizeof text, "%s%0*u", Prefix.data(), static_cast<int>(Digits), number);
    return text;
}

std::optional<std::uint32_t> numberOf(std::string_view name)
{
    if (name.size() != Prefix.size() + Digits || !name.starts_with(Prefix))
        return std::nullopt;
    std::uint32_t number = 0; // Berkeley DB's numbers have 32 bits
    const char* end = name.data() + name.size();
    const auto parsed = std::from_chars(name.data() + Prefix.size(), end, number);
    return parsed.ec == std::errc() && parsed.ptr == end ? std::optional(number) : std::nullopt;
}

bool isTakenForOne(std::string_view name)
{
    return name.size() > Prefix.size() && name.starts_with(Prefix) &&
           std::all_of(name.begin() + Prefix.size(), name.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::set<std::uint32_t> numbersIn(const std::filesystem::path& directory)
{
    std::set<std::uint32_t> numbers;
    (void)Base::forEachEntry(directory, [&](const std::filesystem::directory_entry& entry) { // ignored: see the header
        std::error_code vanished;
        const auto number = numberOf(entry.path().filename().string());
        if (number && entry.is_regular_file(vanished))
            numbers.insert(*number);
        return 0;
    });
    return numbers;
}

} // namespace LogFiles
