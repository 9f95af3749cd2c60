#ifndef QUORVA_HTTP_APIEXCHANGE_H
#define QUORVA_HTTP_APIEXCHANGE_H

#include "api/service.h"
#include "http/gateway.h"
#include "http/httphandler.h"
#include "http/serverexchanges.h"

#include <memory>
#include <string_view>

namespace Http {

/**
 * A request of either version of the API that takes a single exchange with the server in most cases, and need not wait
 * for it: begin(), the exchange, finish(). For one thread at a time.
 */
class ApiExchange {
public:
    virtual ~ApiExchange() = default;

    enum class Step {
        Respond,  // respond() has the response
        Exchange, // call() is to be exchanged with the server for what finish() takes
        Wait,     // more is needed, which answer() does
    };
    /** The first step. Does not wait. */
    virtual Step begin(const QByteArray& body) = 0;
    virtual Answer respond() = 0;
    /** `body` stays valid as long as this object. */
    struct Call {
        const Operations::Operation& operation;
        QByteArray body;
    };
    virtual Call call() const = 0;
    /** Waits only if there is a reply and it is no success. */
    virtual Answer finish(ServerExchanges::Outcome&& outcome) = 0;

    /** Executes the request, after begin(), and waits for the server. */
    virtual Answer answer() = 0;
};

/** For an operation that the gateway serves. */
class GatewayExchange : public ApiExchange {
public:
    GatewayExchange(Gateway* gateway, std::string_view target) : gateway_(gateway), target_(target) {}

    Step begin(const QByteArray& body) override;
    Answer respond() override { return std::move(*refusal_); }
    Call call() const override { return {*call_.operation, call_.body}; }
    Answer finish(ServerExchanges::Outcome&& outcome) override;
    Answer answer() override { return gateway_->answer(call_); }

private:
    Gateway* const gateway_;
    const std::string_view target_;
    Gateway::Call call_;
    std::optional<Answer> refusal_;
};

/** For an operation of the API of 2012-08-10. */
class ServiceExchange : public ApiExchange {
public:
    explicit ServiceExchange(std::unique_ptr<Api::Request> request) : request_(std::move(request)) {}

    Step begin(const QByteArray& body) override;
    Answer respond() override { return answerOf(request_->refusal()); }
    Call call() const override;
    Answer finish(ServerExchanges::Outcome&& outcome) override;
    Answer answer() override { return answerOf(request_->answer()); }

private:
    static Answer answerOf(Api::Reply&& reply) { return {reply.status, {}, std::move(reply.body)}; }

    const std::unique_ptr<Api::Request> request_;
};

} // namespace Http

#endif
