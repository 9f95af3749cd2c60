#ifndef QUORVA_HTTP_GATEWAY_H
#define QUORVA_HTTP_GATEWAY_H

#include "http/replytext.h"
#include "http/serverpool.h"

namespace Http {

/** Turns an API request into its answer, independent of the transport. Any thread. */
class Gateway {
public:
    /** The caller owns the server, which must outlive this object. */
    explicit Gateway(ServerPool* server) : server_(server) {}

    /** `target` is the value of "X-Amz-Target", empty if missing: an operation of the API. Waits for the server's
     * reply. */
    Answer answer(const QByteArray& target, const QByteArray& body);

    /** The same for any operation of the server. */
    Answer answer(const Operations::Operation& operation, const QByteArray& body);

private:
    ServerPool* const server_;
};

} // namespace Http

#endif
