#ifndef QUORVA_API_SERVER_H
#define QUORVA_API_SERVER_H

#include "api/error.h"
#include "api/jsonpool.h"
#include "client/exchangeresult.h"
#include "items/json.h"
#include "protocol/operations.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <string_view>

namespace Api {

/** A reply of the server, with its envelope; may be reused for further replies. */
class ServerReply {
public:
    bool isSuccess() const;
    /** The type of an error, such as "ConditionalCheckFailedException"; see protocol/envelope.h. */
    std::string_view errorType() const;
    bool isError(std::string_view type) const { return errorType() == type; }
    std::string_view message() const;

    const Items::JsonValue& body() const { return body_; }
    /** The length of its text. */
    std::size_t bytes() const { return static_cast<std::size_t>(text_.size()); }

    /** The error to return if the reply is one that the caller does not expect; empty for a success. */
    Failure failure() const;

private:
    friend class Server;

    QByteArray text_; // the strings of body_ are in here
    JsonPoolBuffer buffer_;
    JsonPool pool_{buffer_.data(), sizeof buffer_, JsonPoolBytes};
    Items::JsonDocument body_{&pool_};
};

/** The server, behind a function that exchanges one request for its reply. Any thread, if the function allows that. */
class Server {
public:
    /** Sets `reply` if it returns Done, otherwise `error`. `body` is valid only during the call. */
    using Exchange = std::function<Client::ExchangeResult(const QByteArray& operation, const QByteArray& body,
                                                          QByteArray* reply, QString* error)>;

    explicit Server(Exchange exchange) : exchange_(std::move(exchange)) {}

    /** Sends a request with this body, and waits. Fails if there is no reply; an error of the server is a reply. */
    [[nodiscard]] Failure send(const Operations::Operation& operation, std::string_view body, ServerReply* reply) const;

    /** Takes the reply to a request that was sent in another way; `error` is why there is none, if `result` says so. */
    [[nodiscard]] static Failure take(Client::ExchangeResult result, QByteArray&& text, const QString& error,
                                      ServerReply* reply);

private:
    const Exchange exchange_;
};

} // namespace Api

#endif
