#ifndef QUORVA_HTTP_GATEWAY_H
#define QUORVA_HTTP_GATEWAY_H

#include "http/replytext.h"
#include "http/serverpool.h"

#include <optional>
#include <string_view>

namespace Http {

/** Turns an API request into its answer, independent of the transport. Any thread. */
class Gateway {
public:
    /** The caller owns the server, which must outlive this object. */
    explicit Gateway(ServerPool* server) : server_(server) {}

    /** `target` is the value of "X-Amz-Target", empty if missing: an operation of the API. Waits for the server's
     * reply. */
    Answer answer(std::string_view target, const QByteArray& body);

    /** The same for any operation of the server. */
    Answer answer(const Operations::Operation& operation, const QByteArray& body);

    /** A request to the server. */
    struct Call {
        const Operations::Operation* operation = nullptr;
        QByteArray body;
    };
    /**
     * The two halves of answer(), for callers that exchange the call for its reply themselves. The first returns the
     * answer if there is nothing to exchange.
     */
    [[nodiscard]] static std::optional<Answer> prepare(std::string_view target, const QByteArray& body, Call* call);
    [[nodiscard]] static Answer finish(const Operations::Operation& operation, ExchangeResult result,
                                       const QByteArray& reply, const QString& error);

    /** What the two halves do with an exchange between them, waiting for it. */
    Answer answer(const Call& call);

private:
    static std::optional<Answer> prepare(const Operations::Operation& operation, const QByteArray& body, Call* call);
    ServerPool* const server_;
};

} // namespace Http

#endif
