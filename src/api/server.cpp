#include "api/server.h"

#include "api/members.h"
#include "protocol/envelope.h"

#include <string>
#include <utility>

namespace Api {

namespace {

std::string_view viewOf(QLatin1StringView text)
{
    return {text.data(), static_cast<std::size_t>(text.size())};
}

} // namespace

bool ServerReply::isSuccess() const
{
    return numberIn(body_, viewOf(Envelopes::CodeName)) == Envelopes::SuccessCode;
}

std::string_view ServerReply::errorType() const
{
    return textIn(body_, viewOf(Envelopes::TypeName));
}

std::string_view ServerReply::message() const
{
    return textIn(body_, viewOf(Envelopes::MessageName));
}

Failure ServerReply::failure() const
{
    if (isSuccess())
        return std::nullopt;
    if (isError(ErrorTypes::ResourceNotFound))
        return Errors::resourceNotFound();
    std::string text = "The server: " + std::string(message());
    if (isError(ErrorTypes::InternalServerError))
        text += " The reason is in the server's log.";
    return Errors::internal(std::move(text));
}

Failure Server::send(const Operations::Operation& operation, std::string_view body, ServerReply* reply) const
{
    QByteArray text;
    QString error;
    const QByteArray bytes = QByteArray::fromRawData(body.data(), static_cast<qsizetype>(body.size()));
    const Client::ExchangeResult result = exchange_(operation.fullName(), bytes, &text, &error);
    return take(result, std::move(text), error, reply);
}

Failure Server::take(Client::ExchangeResult result, QByteArray&& text, const QString& error, ServerReply* reply)
{
    reply->body_.SetNull();
    reply->pool_.Clear();
    reply->text_ = std::move(text);
    switch (result) {
    case Client::ExchangeResult::NotSent:
        return Errors::unavailable("The server cannot be reached, nothing was done: " + error.toStdString());
    case Client::ExchangeResult::Lost:
        return Errors::internal("No reply was received, the request may have been executed: " + error.toStdString());
    case Client::ExchangeResult::TimedOut:
        return Errors::internal("No reply was received in time, the request may have been executed: " +
                                error.toStdString());
    case Client::ExchangeResult::Done:
        break;
    }
    reply->body_.ParseInsitu<rapidjson::kParseIterativeFlag | rapidjson::kParseFullPrecisionFlag>(reply->text_.data());
    if (reply->body_.HasParseError() || !hasMember(reply->body_, viewOf(Envelopes::CodeName)))
        return Errors::internal("The server's reply is not understood; the request may have been executed");
    return std::nullopt;
}

} // namespace Api
