#include "http/apierror.h"

#include "json/jsontext.h"

namespace Http {

QByteArray fullErrorType(const QByteArray& type)
{
    return type.contains('#') ? type : "com.amazonaws.dynamodb.v20111205#" + type;
}

QByteArray errorBody(const QByteArray& type, const QByteArray& message)
{
    QByteArray body = "{\"__type\":";
    Json::appendLatin1(fullErrorType(type), &body);
    body += ",\"message\":";
    Json::appendLatin1(message, &body);
    return body + '}';
}

} // namespace Http
