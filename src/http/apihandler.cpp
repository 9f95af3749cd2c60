#include "http/apihandler.h"

#include "http/apiexchange.h"
#include "http/apiresponses.h"
#include "protocol/envelope.h"

#include <memory>
#include <new>
#include <utility>

namespace Http {

namespace {

// What the event loop's thread parses without delaying other clients; with more, a context switch matters less than
// that several threads can share the work.
constexpr qsizetype MostBodyBytes = 4 * 1024;
constexpr qsizetype MostReplyBytes = 4 * 1024;

/** Whether the end of an exchange is a matter of microseconds. */
bool isShort(const ServerExchanges::Outcome& outcome)
{
    return outcome.result != ExchangeResult::Done ||
           (outcome.reply.size() <= MostReplyBytes && Envelopes::reportsSuccess(outcome.reply));
}

} // namespace

/** A request that ServerExchanges has in hand. */
struct ApiHandler::Pending {
    const RequestHead& head;
    Done done;
    std::unique_ptr<ApiExchange> exchange;
};

void ApiHandler::serve(const RequestHead& head, QByteArray&& body, Done done)
{
    std::unique_ptr<ApiExchange> exchange;
    ApiExchange::Step step{};
    try {
        if (body.size() <= MostBodyBytes && head.header("Content-Encoding").empty())
            exchange = exchangeFor(head);
        if (exchange != nullptr)
            step = exchange->begin(body);
    } catch (const std::bad_alloc&) {
        done(ApiResponses::fault(head, Fault::NoMemory));
        return;
    }
    if (exchange == nullptr) {
        CrewHandler::serve(head, std::move(body), std::move(done));
        return;
    }
    auto pending = std::make_shared<Pending>(Pending{head, std::move(done), std::move(exchange)});
    switch (step) {
    case ApiExchange::Step::Respond:
        pending->done(guarded(head, [&] { return ApiResponses::of(pending->exchange->respond()); }));
        return;
    case ApiExchange::Step::Exchange:
        if (trySend(pending))
            return;
        break;
    case ApiExchange::Step::Wait:
        break;
    }
    post(
        pending->head, [pending] { return ApiResponses::of(pending->exchange->answer()); }, std::move(pending->done));
}

/** Null for operations that usually take more than one exchange. */
std::unique_ptr<ApiExchange> ApiHandler::exchangeFor(const RequestHead& head) const
{
    const std::string_view target = head.header("X-Amz-Target");
    if (!target.starts_with(Api::Service::Prefix))
        return std::make_unique<GatewayExchange>(gateway_, target);
    auto request = service_->prepare(target.substr(Api::Service::Prefix.size()), head.header("Host"));
    return request != nullptr ? std::make_unique<ServiceExchange>(std::move(request)) : nullptr;
}

bool ApiHandler::trySend(const std::shared_ptr<Pending>& pending)
{
    const ApiExchange::Call call = pending->exchange->call();
    std::optional<ServerExchanges::Sent> sent = exchanges_->send(call.operation.fullName(), call.body);
    if (!sent)
        return false;
    exchanges_->await(std::move(*sent),
                      [this, pending](ServerExchanges::Outcome&& outcome) { finish(pending, std::move(outcome)); });
    return true;
}

void ApiHandler::finish(const std::shared_ptr<Pending>& pending, ServerExchanges::Outcome&& outcome)
{
    if (isShort(outcome)) {
        pending->done(
            guarded(pending->head, [&] { return ApiResponses::of(pending->exchange->finish(std::move(outcome))); }));
        return;
    }
    post(
        pending->head,
        [pending, outcome = std::move(outcome)]() mutable {
            return ApiResponses::of(pending->exchange->finish(std::move(outcome)));
        },
        std::move(pending->done));
}

Response ApiHandler::answer(const RequestHead& head, const QByteArray& body)
{
    const std::string_view target = head.header("X-Amz-Target");
    if (!target.starts_with(Api::Service::Prefix))
        return ApiResponses::of(gateway_->answer(target, body));
    if (body.size() > Api::Service::MostBytes)
        return ApiResponses::fault(head, Fault::BodyTooLarge);
    Api::Reply reply = service_->answer(target.substr(Api::Service::Prefix.size()), head.header("Host"), body);
    return ApiResponses::of({reply.status, {}, std::move(reply.body)});
}

} // namespace Http
