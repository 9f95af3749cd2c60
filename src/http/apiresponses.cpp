#include "http/apiresponses.h"

#include "api/service.h"
#include "http/apierror.h"

#include <QUuid>

#include <zlib.h>

#include <utility>

namespace Http {

namespace {

constexpr const char* ContentType = "application/x-amz-json-1.0";

std::string checksum(const QByteArray& body)
{
    uLong value = crc32_z(0, nullptr, 0);
    value = crc32_z(value, reinterpret_cast<const Bytef*>(body.constData()), static_cast<z_size_t>(body.size()));
    return std::to_string(value);
}

} // namespace

Response ApiResponses::of(Answer&& answer)
{
    Response response{answer.status, answer.outcome.toStdString(), {}, std::move(answer.body)};
    response.headers.reserve(4);
    response.headers.push_back({"Content-Type", ContentType});
    response.headers.push_back({"x-amz-crc32", checksum(response.body)});
    response.headers.push_back(
        {"x-amzn-RequestId", QUuid::createUuid().toByteArray(QUuid::WithoutBraces).toStdString()});
    return response;
}

Response ApiResponses::error(const RequestHead& head, int status, const char* type, const std::string& message)
{
    const bool isOld = !head.header("X-Amz-Target").starts_with(Api::Service::Prefix);
    return of({status,
               {},
               errorBody(type, QByteArray::fromStdString(message), isOld ? ApiVersion::Of2011 : ApiVersion::Of2012)});
}

Response ApiResponses::fault(const RequestHead& head, Fault fault)
{
    constexpr const char* NotUnderstood = "The request is not HTTP that this server supports";
    switch (fault) {
    case Fault::NotHttp:
        break;
    case Fault::LineTooLong:
        return error(head, UriTooLong, OwnErrorTypes::InvalidRequest, NotUnderstood);
    case Fault::BadLength:
        return error(head, BadRequest, OwnErrorTypes::InvalidRequest, "The length of the body is not valid");
    case Fault::BodyTooLarge:
        return error(head, PayloadTooLarge, OwnErrorTypes::RequestTooLarge, "The body is too large");
    case Fault::BodyBroken:
        return error(head, BadRequest, OwnErrorTypes::InvalidRequest,
                     "The body ended early or does not match its headers");
    case Fault::NoMemory:
        return error(head, InternalError, ErrorTypes::InternalServerError, "There is not enough memory");
    }
    return error(head, BadRequest, OwnErrorTypes::InvalidRequest, NotUnderstood);
}

} // namespace Http
