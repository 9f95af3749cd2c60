#include "http/allowedhosts.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace Http {

namespace {

constexpr std::array<std::string_view, 3> Loopback{"127.0.0.1", "localhost", "[::1]"};

bool isLoopback(const std::string& name)
{
    return std::find(Loopback.begin(), Loopback.end(), name) != Loopback.end();
}

bool isNameCharacter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.';
}

std::string lowerCase(std::string_view text)
{
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return lower;
}

/** The shortest form of an IPv6 address in brackets; empty when it is not one. */
std::string addressIn(const std::string& brackets)
{
    in6_addr address{};
    char text[INET6_ADDRSTRLEN] = "";
    const std::string inner = brackets.substr(1, brackets.size() - 2);
    if (inner.find('\0') != std::string::npos || inet_pton(AF_INET6, inner.c_str(), &address) != 1 ||
        inet_ntop(AF_INET6, &address, text, sizeof text) == nullptr)
        return {};
    return '[' + std::string(text) + ']';
}

std::string nameIn(std::string name)
{
    if (!std::all_of(name.begin(), name.end(), isNameCharacter))
        return {};
    if (name.ends_with('.'))
        name.pop_back();
    return name;
}

} // namespace

AllowedHosts::AllowedHosts()
{
    for (const std::string_view name : Loopback)
        hosts_.push_back({std::string(name), NoPort});
}

bool AllowedHosts::add(std::string_view host)
{
    Host parsed;
    if (!parse(host, &parsed))
        return false;
    hosts_.push_back(parsed);
    return true;
}

bool AllowedHosts::isHost(std::string_view value) const
{
    Host host;
    return parse(value, &host) && isAllowed(host);
}

bool AllowedHosts::isOrigin(std::string_view value) const
{
    for (const auto& [scheme, port] : {std::pair<std::string_view, int>("http://", 80), {"https://", 443}}) {
        Host host;
        if (!value.starts_with(scheme) || !parse(value.substr(scheme.size()), &host))
            continue;
        if (host.port == NoPort && isLoopback(host.name))
            host.port = port;
        return isAllowed(host);
    }
    return false;
}

bool AllowedHosts::isAllowed(const Host& host) const
{
    return std::any_of(hosts_.begin(), hosts_.end(), [&](const Host& allowed) {
        const bool hasPort =
            allowed.port == NoPort ? host.port == NoPort || host.port == port_ : host.port == allowed.port;
        return hasPort && host.name == allowed.name;
    });
}

bool AllowedHosts::parse(std::string_view text, Host* host)
{
    const std::size_t bracket = text.starts_with('[') ? text.find(']') : 0;
    if (bracket == std::string_view::npos)
        return false;
    const std::size_t colon = text.find(':', bracket);
    const std::string name = lowerCase(text.substr(0, colon));
    if (bracket > 0 && !name.ends_with(']'))
        return false;
    host->name = bracket > 0 ? addressIn(name) : nameIn(name);
    host->port = NoPort;
    if (colon == std::string_view::npos)
        return !host->name.empty();
    constexpr int LargestPort = 65535;
    const std::string_view digits = text.substr(colon + 1);
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), host->port);
    return !host->name.empty() && error == std::errc() && end == digits.data() + digits.size() && host->port >= 0 &&
           host->port <= LargestPort;
}

} // namespace Http
