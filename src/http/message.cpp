#include "http/message.h"

#include <algorithm>

#include <strings.h>

namespace Http {

namespace {

bool isNamed(const Header& header, std::string_view name)
{
    return header.name.size() == name.size() && strncasecmp(header.name.data(), name.data(), name.size()) == 0;
}

} // namespace

std::string_view RequestHead::header(std::string_view name) const
{
    const auto found =
        std::find_if(headers.begin(), headers.end(), [&](const Header& header) { return isNamed(header, name); });
    return found == headers.end() ? std::string_view() : found->value;
}

std::size_t RequestHead::count(std::string_view name) const
{
    return static_cast<std::size_t>(
        std::count_if(headers.begin(), headers.end(), [&](const Header& header) { return isNamed(header, name); }));
}

} // namespace Http
