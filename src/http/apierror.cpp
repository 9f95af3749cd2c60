#include "http/apierror.h"

#include "json/jsontext.h"

namespace Http {

QByteArray fullErrorType(const QByteArray& type, ApiVersion version)
{
    if (type.contains('#'))
        return type;
    const bool isOld = version == ApiVersion::Of2011;
    return (isOld ? "com.amazonaws.dynamodb.v20111205#" : "com.amazonaws.dynamodb.v20120810#") + type;
}

QByteArray errorBody(const QByteArray& type, const QByteArray& message, ApiVersion version)
{
    Json::TextWriter body;
    body.beginObject();
    body.name(Envelopes::TypeName);
    body.putLatin1(fullErrorType(type, version));
    body.name(Envelopes::MessageName);
    body.putLatin1(message);
    body.endObject();
    return body.take();
}

} // namespace Http
