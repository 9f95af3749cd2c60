#include "http/gateway.h"

#include "client/rangecondition.h"
#include "http/apierror.h"
#include "http/message.h"
#include "protocol/bodies.h"
#include "protocol/operations.h"
#include "json/canonicaltext.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <algorithm>

namespace Http {

namespace {

Answer errorAnswer(int status, const char* type, const QByteArray& message)
{
    return {status, {}, errorBody(type, message)};
}

/** The operation that a target names; null for unknown ones, which the server would answer as an internal failure. */
const Operations::Operation* operationOf(std::string_view target)
{
    const auto* const found = std::find_if(Operations::Api.begin(), Operations::Api.end(),
                                           [&](const auto& operation) { return operation.isNamed(target); });
    return found != Operations::Api.end() ? found : nullptr;
}

/** Parses as the server does. Returns false when the text is not JSON or not an object. */
bool parseObject(const QByteArray& body, QVariantMap* object)
{
    QVariant value;
    if (!Json::parse(body, &value) || value.metaType() != QMetaType::fromType<QVariantMap>())
        return false;
    *object = value.toMap();
    return true;
}

/** The server would close the connection for a body that is not JSON, and treat any other value as an empty object. */
bool isObject(const QByteArray& body)
{
    QVariantMap object;
    return Json::isCanonicalObject(body) || parseObject(body, &object);
}

/** Whether a JSON text may contain a word, literally or escaped. */
bool mayHold(const QByteArray& body, const char* word)
{
    return body.contains(word) || body.contains("\\u");
}

/**
 * Rewrites the request for a later page of a prefix query, which the server could not resume. Returns false for others.
 */
bool makeResumable(QVariantMap* body)
{
    return body->contains(QStringLiteral("ExclusiveStartKey")) && Client::replaceBeginsWith(body, false);
}

/** The body to send to the server: unchanged, except for the later pages of some queries. */
QByteArray serversBody(const Operations::Operation& operation, const QByteArray& body)
{
    QVariantMap object;
    const bool isRewritten = operation == Operations::Query && mayHold(body, Bodies::Comparison::BeginsWith) &&
                             parseObject(body, &object) && makeResumable(&object);
    return isRewritten ? Json::serialize(object) : body;
}

} // namespace

Answer Gateway::answer(std::string_view target, const QByteArray& body)
{
    Call call;
    std::optional<Answer> refusal = prepare(target, body, &call);
    return refusal ? std::move(*refusal) : answer(call);
}

Answer Gateway::answer(const Operations::Operation& operation, const QByteArray& body)
{
    Call call;
    std::optional<Answer> refusal = prepare(operation, body, &call);
    return refusal ? std::move(*refusal) : answer(call);
}

std::optional<Answer> Gateway::prepare(std::string_view target, const QByteArray& body, Call* call)
{
    if (target.empty())
        return errorAnswer(BadRequest, OwnErrorTypes::UnknownOperation, "The header X-Amz-Target is missing");
    const Operations::Operation* const operation = operationOf(target);
    if (operation == nullptr)
        return errorAnswer(BadRequest, OwnErrorTypes::UnknownOperation,
                           "There is no operation " + QByteArray(target.data(), static_cast<qsizetype>(target.size())));
    return prepare(*operation, body, call);
}

std::optional<Answer> Gateway::prepare(const Operations::Operation& operation, const QByteArray& body, Call* call)
{
    if (!isObject(body))
        return errorAnswer(BadRequest, OwnErrorTypes::Serialization, "The body is not a JSON object");
    *call = {&operation, serversBody(operation, body)};
    return std::nullopt;
}

Answer Gateway::answer(const Call& call)
{
    QByteArray reply;
    QString error;
    const ExchangeResult result = server_->exchange(call.operation->fullName(), call.body, &reply, &error);
    return finish(*call.operation, result, reply, error);
}

Answer Gateway::finish(const Operations::Operation& operation, ExchangeResult result, const QByteArray& reply,
                       const QString& error)
{
    switch (result) {
    case ExchangeResult::NotSent:
        return errorAnswer(ServiceUnavailable, OwnErrorTypes::ServiceUnavailable,
                           "The server cannot be reached, nothing was done: " + error.toLatin1());
    case ExchangeResult::Lost:
        return errorAnswer(BadGateway, ErrorTypes::InternalServerError,
                           "No reply was received, the request may have been executed: " + error.toLatin1());
    case ExchangeResult::TimedOut:
        return errorAnswer(GatewayTimeout, ErrorTypes::InternalServerError,
                           "No reply was received in time, the request may have been executed: " + error.toLatin1());
    case ExchangeResult::Done:
        break;
    }
    Answer translated;
    if (!translateReply(operation, reply, &translated))
        return errorAnswer(BadGateway, ErrorTypes::InternalServerError, "The server's reply has no status");
    return translated;
}

} // namespace Http
