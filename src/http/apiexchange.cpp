#include "http/apiexchange.h"

#include <utility>

namespace Http {

ApiExchange::Step GatewayExchange::begin(const QByteArray& body)
{
    refusal_ = Gateway::prepare(target_, body, &call_);
    return refusal_ ? Step::Respond : Step::Exchange;
}

Answer GatewayExchange::finish(ServerExchanges::Outcome&& outcome)
{
    return Gateway::finish(*call_.operation, outcome.result, outcome.reply, outcome.error);
}

ApiExchange::Step ServiceExchange::begin(const QByteArray& body)
{
    switch (request_->begin(body)) {
    case Api::Request::Step::Reply:
        return Step::Respond;
    case Api::Request::Step::Exchange:
        return Step::Exchange;
    case Api::Request::Step::Wait:
        break;
    }
    return Step::Wait;
}

ApiExchange::Call ServiceExchange::call() const
{
    const Api::ServerCall& call = request_->call();
    return {call.operation, QByteArray::fromRawData(call.body.data(), static_cast<qsizetype>(call.body.size()))};
}

Answer ServiceExchange::finish(ServerExchanges::Outcome&& outcome)
{
    return answerOf(request_->finish(outcome.result, std::move(outcome.reply), outcome.error));
}

} // namespace Http
