#include "http/apierror.h"

#include "json/jsontext.h"

namespace Http {

QByteArray fullErrorType(const QByteArray& type)
{
    return type.contains('#') ? type : "com.amazonaws.dynamodb.v20111205#" + type;
}

QByteArray errorBody(const QByteArray& type, const QByteArray& message)
{
    Json::TextWriter body;
    body.beginObject();
    body.name(Envelopes::TypeName);
    body.putLatin1(fullErrorType(type));
    body.name(Envelopes::MessageName);
    body.putLatin1(message);
    body.endObject();
    return body.take();
}

} // namespace Http
