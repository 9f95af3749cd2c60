#ifndef QUORVA_HTTP_GATEWAY_H
#define QUORVA_HTTP_GATEWAY_H

#include "http/replytext.h"
#include "http/serverpool.h"

namespace Http {

/** From an API request to its answer, whatever the transport that it came by. Any thread. */
class Gateway {
public:
    explicit Gateway(const ServerOptions& server) : server_(server) {}

    /** `target` is the value of "X-Amz-Target", empty when there was none. Waits for the server's reply. */
    Answer answer(const QByteArray& target, const QByteArray& body);

private:
    ServerPool server_;
};

} // namespace Http

#endif
