#ifndef QUORVA_API_REQUEST_H
#define QUORVA_API_REQUEST_H

#include "api/error.h"
#include "api/itemsteps.h"
#include "api/jsonpool.h"
#include "api/operation.h"
#include "api/replyjson.h"
#include "client/exchangeresult.h"
#include "items/json.h"

#include <QByteArray>
#include <QString>

#include <array>
#include <cstddef>
#include <memory>

namespace Api {

struct Reply {
    int status = 200; // of HTTP
    QByteArray body;

    static Reply of(const Error& error);
};

/**
 * A request and its way to the reply, which is either answer(), or, without any wait, the steps from begin() on. For
 * one thread at a time.
 */
class Request {
public:
    /** What the context refers to must outlive this object. */
    Request(const Operation& operation, const Context& context) : operation_(operation), context_(context) {}

    /** Parses and checks the body. */
    [[nodiscard]] Failure read(const QByteArray& body);
    /** Executes the request that was read, and waits for the server. */
    Reply answer();

    enum class Step {
        Reply,    // the result is there: finish(failure)
        Exchange, // call() is to be exchanged with the server for what finish() takes
        Wait,     // more is needed: answer()
    };
    /** Reads the body, and begins the request without a wait. */
    Step begin(const QByteArray& body);
    /** After Step::Exchange. */
    const ServerCall& call() const { return *steps_->call(); }
    /** Waits only if there is a reply and it is no success. `text`: the reply; `error`: why there is none. */
    Reply finish(Client::ExchangeResult result, QByteArray&& text, const QString& error);
    /** The result of begin() after Step::Reply. */
    Reply refusal() const { return Reply::of(*refusal_); }

private:
    Failure takeSteps(JsonWriter* writer);

    const Operation& operation_;
    Context context_;
    // Enough for a request with nothing but a key, and so small that malloc() has the whole object at hand.
    std::array<std::max_align_t, 512 / sizeof(std::max_align_t)> buffer_;
    JsonPool pool_{buffer_.data(), sizeof buffer_, JsonPoolBytes};
    Items::JsonDocument request_{&pool_};
    std::unique_ptr<ItemSteps> steps_;
    Failure refusal_;
};

} // namespace Api

#endif
