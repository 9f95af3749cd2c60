#include "http/gateway.h"

#include "client/rangecondition.h"
#include "http/apierror.h"
#include "protocol/bodies.h"
#include "protocol/operations.h"
#include "json/canonicaltext.h"
#include "json/jsonadapter.h"

#include <algorithm>

namespace Http {

namespace {

enum : int { BadRequest = 400, BadGateway = 502, ServiceUnavailable = 503, GatewayTimeout = 504 };

Answer errorAnswer(int status, const char* type, const QByteArray& message)
{
    return {status, {}, errorBody(type, message)};
}

/** The operation that a target names; null for others, which the server would answer like a failure of its own. */
const Operations::Operation* operationOf(const QByteArray& target)
{
    const auto found = std::find_if(Operations::Api.begin(), Operations::Api.end(), [&](const auto& operation) {
        return operation.isNamed({target.constData(), static_cast<std::size_t>(target.size())});
    });
    return found != Operations::Api.end() ? &*found : nullptr;
}

/** By the parser that the server uses. False when the text is no JSON or no object. */
bool parseObject(const QByteArray& body, QVariantMap* object)
{
    QVariant value;
    if (!Json::parse(body, &value) || value.metaType() != QMetaType::fromType<QVariantMap>())
        return false;
    *object = value.toMap();
    return true;
}

/** The server would close the connection on what is no JSON, and take another value for an empty object. */
bool isObject(const QByteArray& body)
{
    std::vector<Json::MemberText> members;
    QVariantMap object;
    return Json::splitObject(body, &members) || parseObject(body, &object);
}

/** Whether a JSON text may hold a word, as it stands or behind an escape. */
bool mayHold(const QByteArray& body, const char* word)
{
    return body.contains(word) || body.contains("\\u");
}

/** Whether a body is one of a later page of a query by prefix, which the server could not resume; then it is rewritten.
 */
bool makeResumable(QVariantMap* body)
{
    return body->contains(QStringLiteral("ExclusiveStartKey")) && Client::replaceBeginsWith(body, false);
}

/** What the server gets for a body: the same, save for the later pages of some queries. */
QByteArray serversBody(const Operations::Operation& operation, const QByteArray& body)
{
    QVariantMap object;
    const bool isRewritten = operation == Operations::Query && mayHold(body, Bodies::Comparison::BeginsWith) &&
                             parseObject(body, &object) && makeResumable(&object);
    return isRewritten ? Json::serialize(object) : body;
}

} // namespace

Answer Gateway::answer(const QByteArray& target, const QByteArray& body)
{
    if (target.isEmpty())
        return errorAnswer(BadRequest, ErrorType::UnknownOperation, "The header X-Amz-Target is missing");
    const Operations::Operation* const operation = operationOf(target);
    if (operation == nullptr)
        return errorAnswer(BadRequest, ErrorType::UnknownOperation, "There is no operation " + target);
    if (!isObject(body))
        return errorAnswer(BadRequest, ErrorType::Serialization, "The body is no JSON object");

    QByteArray reply;
    QString error;
    switch (server_.exchange(target, serversBody(*operation, body), &reply, &error)) {
    case Exchange::NotSent:
        return errorAnswer(ServiceUnavailable, ErrorType::ServiceUnavailable,
                           "The server cannot be reached, nothing was done: " + error.toLatin1());
    case Exchange::Lost:
        return errorAnswer(BadGateway, ErrorType::InternalServerError,
                           "No reply came, the request may have been executed: " + error.toLatin1());
    case Exchange::TimedOut:
        return errorAnswer(GatewayTimeout, ErrorType::InternalServerError,
                           "No reply came in time, the request may have been executed: " + error.toLatin1());
    case Exchange::Done:
        break;
    }
    Answer answer;
    if (!translateReply(*operation, reply, &answer))
        return errorAnswer(BadGateway, ErrorType::InternalServerError, "The server's reply has no status");
    return answer;
}

} // namespace Http
