#ifndef QUORVA_HTTP_APIERROR_H
#define QUORVA_HTTP_APIERROR_H

#include "protocol/envelope.h"

#include <QByteArray>

/** The program quorva-http: the server's API over HTTP. */
namespace Http {

/** The error types that do not come from the server; clients of the API know them. */
namespace OwnErrorTypes {
inline constexpr const char* UnknownOperation = "UnknownOperationException";
inline constexpr const char* Serialization = "SerializationException";
inline constexpr const char* RequestTooLarge = "RequestTooLargeException";
inline constexpr const char* AccessDenied = "AccessDeniedException";
inline constexpr const char* InvalidToken = "InvalidTokenException";
inline constexpr const char* InvalidRequest = "InvalidRequestException";
inline constexpr const char* ServiceUnavailable = "ServiceUnavailableException";
} // namespace OwnErrorTypes

/** The versions of the API, whose error types have different namespaces. */
enum class ApiVersion { Of2011, Of2012 };

/** "ValidationException" becomes "com.amazonaws.dynamodb.v20111205#ValidationException". */
QByteArray fullErrorType(const QByteArray& type, ApiVersion version = ApiVersion::Of2011);

/** The body of an error: {"__type": the full type, "message": ...}. Both texts are Latin-1. */
QByteArray errorBody(const QByteArray& type, const QByteArray& message, ApiVersion version = ApiVersion::Of2011);

} // namespace Http

#endif
