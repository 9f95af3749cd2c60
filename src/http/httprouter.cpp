#include "http/httprouter.h"

#include "http/apierror.h"
#include "http/apiresponses.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace Http {

namespace {

/** Logs a request that was refused because of a header's value, which may contain anything. */
void tellRefused(const char* what, std::string_view value)
{
    constexpr std::size_t Shown = 100;
    std::string shown(value.substr(0, Shown));
    std::replace_if(
        shown.begin(), shown.end(), [](char c) { return c < ' ' || c > '~' || c == '"'; }, '?');
    std::fprintf(stderr, "quorva-http: request refused, %s \"%s%s\" is not served\n", what, shown.c_str(),
                 value.size() > Shown ? "..." : "");
}

std::string_view pathOf(std::string_view target)
{
    return target.substr(0, target.find_first_of("?#"));
}

std::string joined(const std::vector<std::string>& words, const char* separator)
{
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : separator) + word;
    return text;
}

} // namespace

HttpRouter::HttpRouter(AllowedHosts hosts, AllowedUsers* users) : hosts_(std::move(hosts)), users_(users) {}

void HttpRouter::add(std::string path, std::vector<std::string> methods, HttpHandler* handler)
{
    routes_.push_back({std::move(path), false, std::move(methods), handler});
}

void HttpRouter::addTree(std::string path, std::vector<std::string> methods, HttpHandler* handler)
{
    routes_.push_back({std::move(path), true, std::move(methods), handler});
}

bool HttpRouter::Route::leadsTo(std::string_view requested) const
{
    const bool isBelow = isTree && requested.size() > path.size() && requested[path.size()] == '/';
    return requested.starts_with(path) && (isBelow || requested.size() == path.size());
}

bool HttpRouter::Route::has(std::string_view method) const
{
    return std::find(methods.begin(), methods.end(), method) != methods.end();
}

bool HttpRouter::admits(int socket)
{
    std::string refusal;
    const bool isAdmitted = users_->admits(socket, &refusal);
    if (!isAdmitted)
        std::fprintf(stderr, "quorva-http: connection refused, %s\n", refusal.c_str());
    return isAdmitted;
}

std::optional<Response> HttpRouter::refuse(const RequestHead& head)
{
    if (std::optional<Response> refusal = refuseForeign(head))
        return refusal;
    HttpHandler* const handler = handlerOf(head);
    return handler != nullptr ? handler->refuse(head) : refuseMethod(head);
}

/** Refuses requests that do not use one of our host names: web pages may send them without their user's consent. */
std::optional<Response> HttpRouter::refuseForeign(const RequestHead& head) const
{
    const std::string_view host = head.header("Host");
    const std::string_view origin = head.header("Origin");
    const std::size_t origins = head.count("Origin");
    if (head.count("Host") != 1)
        return ApiResponses::error(head, BadRequest, OwnErrorTypes::InvalidRequest,
                                   "There must be exactly one Host header");
    if (!hosts_.isHost(host)) {
        tellRefused("host", host);
        return ApiResponses::error(head, Forbidden, OwnErrorTypes::AccessDenied,
                                   "The host is not one of those that are served; see --allow-host");
    }
    if (origins > 1 || (origins == 1 && !hosts_.isOrigin(origin))) {
        tellRefused("origin", origin);
        return ApiResponses::error(head, Forbidden, OwnErrorTypes::AccessDenied,
                                   "The origin is not one of those that are served; see --allow-host");
    }
    return std::nullopt;
}

/** The response if the path is not served, or not with this method. */
Response HttpRouter::refuseMethod(const RequestHead& head) const
{
    const std::string_view path = pathOf(head.target);
    std::vector<std::string> methods;
    for (const Route& route : routes_) {
        if (route.leadsTo(path))
            methods.insert(methods.end(), route.methods.begin(), route.methods.end());
    }
    if (methods.empty())
        return ApiResponses::error(head, NotFound, OwnErrorTypes::InvalidRequest, "There is nothing at this path");
    Response response = ApiResponses::error(head, MethodNotAllowed, OwnErrorTypes::InvalidRequest,
                                            methods.size() == 1 ? "The only method is " + methods.front()
                                                                : "The only methods are " + joined(methods, " and "));
    response.headers.push_back({"Allow", joined(methods, ", ")});
    return response;
}

Response HttpRouter::faultResponse(const RequestHead& head, Fault fault)
{
    return ApiResponses::fault(head, fault);
}

void HttpRouter::serve(const RequestHead& head, QByteArray&& body, std::function<void(Response&&)> done)
{
    handlerOf(head)->serve(head, std::move(body), std::move(done)); // refuse() has let it pass, so there is one
}

/** Null when nothing is served at the request's path with its method. */
HttpHandler* HttpRouter::handlerOf(const RequestHead& head) const
{
    const std::string_view path = pathOf(head.target);
    const auto found = std::find_if(routes_.begin(), routes_.end(),
                                    [&](const Route& route) { return route.leadsTo(path) && route.has(head.method); });
    return found != routes_.end() ? found->handler : nullptr;
}

} // namespace Http
