#include "protocol/envelope.h"

#include <charconv>
#include <iterator>

namespace {

void appendText(QLatin1StringView name, const char* text, QByteArray* reply)
{
    reply->append(",\"").append(name.data(), name.size()).append("\":\"").append(text).append('"');
}

} // namespace

void Envelope::appendTo(QByteArray* reply) const
{
    reply->chop(1);
    reply->append(reply->endsWith('{') ? "\"" : ",\"");
    reply->append(Envelopes::CodeName.data(), Envelopes::CodeName.size()).append("\":");
    char digits[16];
    reply->append(digits, std::to_chars(std::begin(digits), std::end(digits), code).ptr - digits);
    appendText(Envelopes::OutcomeName, outcome, reply);
    if (type != nullptr) {
        appendText(Envelopes::TypeName, type, reply);
        appendText(Envelopes::MessageName, message, reply);
    }
    reply->append('}');
}

namespace Envelopes {

int code(const QVariantMap& reply)
{
    return reply.value(CodeName).toInt();
}

bool isSuccess(const QVariantMap& reply)
{
    return code(reply) == SuccessCode;
}

QString outcome(const QVariantMap& reply)
{
    return reply.value(OutcomeName).toString();
}

QString errorType(const QVariantMap& reply)
{
    return reply.value(TypeName).toString();
}

QString message(const QVariantMap& reply)
{
    return reply.value(MessageName).toString();
}

QVariantMap content(QVariantMap reply)
{
    for (const QLatin1StringView name : {CodeName, OutcomeName, TypeName, MessageName})
        reply.remove(name);
    return reply;
}

} // namespace Envelopes
