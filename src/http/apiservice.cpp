#include "http/apiservice.h"

#include "http/apierror.h"
#include "http/contentcoding.h"

#include <QUuid>

#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <new>
#include <string>
#include <utility>

namespace Http {

namespace {

constexpr const char* ContentType = "application/x-amz-json-1.0";

enum : int {
    BadRequest = 400,
    Forbidden = 403,
    NotFound = 404,
    MethodNotAllowed = 405,
    PayloadTooLarge = 413,
    UriTooLong = 414,
    InternalError = 500,
};

std::string checksum(const QByteArray& body)
{
    uLong value = crc32_z(0, nullptr, 0);
    value = crc32_z(value, reinterpret_cast<const Bytef*>(body.constData()), static_cast<z_size_t>(body.size()));
    return std::to_string(value);
}

/** Adds the headers that every response has. */
Response responseOf(Answer&& answer)
{
    Response response{answer.status, answer.outcome.toStdString(), {}, std::move(answer.body)};
    response.headers.reserve(4);
    response.headers.push_back({"Content-Type", ContentType});
    response.headers.push_back({"x-amz-crc32", checksum(response.body)});
    response.headers.push_back(
        {"x-amzn-RequestId", QUuid::createUuid().toByteArray(QUuid::WithoutBraces).toStdString()});
    return response;
}

Response errorResponse(int status, const char* type, const char* message)
{
    return responseOf({status, {}, errorBody(type, message)});
}

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

} // namespace

ApiService::ApiService(std::size_t bodyBytes, AllowedHosts hosts, Gateway* gateway, AllowedUsers* users, Crew* crew)
    : bodyBytes_(bodyBytes), hosts_(std::move(hosts)), gateway_(gateway), users_(users), crew_(crew)
{}

bool ApiService::admits(int socket)
{
    std::string refusal;
    const bool isAdmitted = users_->admits(socket, &refusal);
    if (!isAdmitted)
        std::fprintf(stderr, "quorva-http: connection refused, %s\n", refusal.c_str());
    return isAdmitted;
}

std::optional<Response> ApiService::refuse(const RequestHead& head)
{
    if (std::optional<Response> refusal = refuseForeign(head))
        return refusal;
    if (pathOf(head.target) != "/")
        return errorResponse(NotFound, OwnErrorTypes::InvalidRequest, "The only path is /");
    if (head.method != "POST") {
        Response response = errorResponse(MethodNotAllowed, OwnErrorTypes::InvalidRequest, "The only method is POST");
        response.headers.push_back({"Allow", "POST"});
        return response;
    }
    return std::nullopt;
}

/** Refuses requests that do not use one of our host names: a web page may send those without its user's consent. */
std::optional<Response> ApiService::refuseForeign(const RequestHead& head) const
{
    const std::string_view host = head.header("Host");
    const std::string_view origin = head.header("Origin");
    const std::size_t origins = head.count("Origin");
    if (head.count("Host") != 1)
        return errorResponse(BadRequest, OwnErrorTypes::InvalidRequest, "There has to be one Host header");
    if (!hosts_.isHost(host)) {
        tellRefused("host", host);
        return errorResponse(Forbidden, OwnErrorTypes::AccessDenied,
                             "The host is not one of those that are served; see --allow-host");
    }
    if (origins > 1 || (origins == 1 && !hosts_.isOrigin(origin))) {
        tellRefused("origin", origin);
        return errorResponse(Forbidden, OwnErrorTypes::AccessDenied,
                             "The origin is not one of those that are served; see --allow-host");
    }
    return std::nullopt;
}

Response ApiService::faultResponse(Fault fault)
{
    constexpr const char* NotUnderstood = "The request is no HTTP that is understood here";
    switch (fault) {
    case Fault::NotHttp:
        break;
    case Fault::LineTooLong:
        return errorResponse(UriTooLong, OwnErrorTypes::InvalidRequest, NotUnderstood);
    case Fault::BadLength:
        return errorResponse(BadRequest, OwnErrorTypes::InvalidRequest, "The length of the body is not understood");
    case Fault::BodyTooLarge:
        return errorResponse(PayloadTooLarge, OwnErrorTypes::RequestTooLarge, "The body is too large");
    case Fault::BodyBroken:
        return errorResponse(BadRequest, OwnErrorTypes::InvalidRequest,
                             "The body ended early or is not what its headers say");
    case Fault::NoMemory:
        return errorResponse(InternalError, ErrorTypes::InternalServerError, "There is not enough memory");
    }
    return errorResponse(BadRequest, OwnErrorTypes::InvalidRequest, NotUnderstood);
}

void ApiService::serve(const RequestHead& head, QByteArray&& body, std::function<void(Response&&)> done)
{
    crew_->post([this, &head, body = std::move(body), done = std::move(done)]() mutable {
        Response response;
        try {
            response = answer(head, body);
        } catch (const std::bad_alloc&) {
            body.clear();
            response = faultResponse(Fault::NoMemory);
        }
        done(std::move(response));
    });
}

Response ApiService::answer(const RequestHead& head, const QByteArray& packed)
{
    QByteArray body;
    switch (ContentCoding::unpack(head.header("Content-Encoding"), packed, bodyBytes_, &body)) {
    case ContentCoding::Result::Unpacked:
        break;
    case ContentCoding::Result::TooLarge:
        return faultResponse(Fault::BodyTooLarge);
    case ContentCoding::Result::Broken:
        return faultResponse(Fault::BodyBroken);
    }
    const std::string_view target = head.header("X-Amz-Target");
    return responseOf(gateway_->answer(QByteArray(target.data(), static_cast<qsizetype>(target.size())), body));
}

} // namespace Http
