#include "protocol/envelope.h"

#include <QLatin1String>

void Envelope::addTo(QVariantMap* reply) const
{
    reply->insert(Envelopes::codeName(), code);
    reply->insert(Envelopes::outcomeName(), QLatin1String(outcome));
    if (type != nullptr) {
        reply->insert(Envelopes::typeName(), QLatin1String(type));
        reply->insert(Envelopes::messageName(), QLatin1String(message));
    }
}

namespace Envelopes {

int code(const QVariantMap& reply)
{
    return reply.value(codeName()).toInt();
}

bool isSuccess(const QVariantMap& reply)
{
    return code(reply) == SuccessCode;
}

QString outcome(const QVariantMap& reply)
{
    return reply.value(outcomeName()).toString();
}

QString errorType(const QVariantMap& reply)
{
    return reply.value(typeName()).toString();
}

QString message(const QVariantMap& reply)
{
    return reply.value(messageName()).toString();
}

} // namespace Envelopes
