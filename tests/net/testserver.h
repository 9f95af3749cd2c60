#ifndef QUORVA_TESTS_NET_TESTSERVER_H
#define QUORVA_TESTS_NET_TESTSERVER_H

#include "client/wireconnection.h"
#include "net/bdbserver.h"
#include "netsupport.h"
#include "protocol/endpoint.h"
#include "requests.h"
#include "support/expectedreplies.h"

#include <QByteArray>

/** A server on a port that the system chooses. */
class TestServer : public BDBServer {
public:
    explicit TestServer(int workers = 2, int poolMax = 4) : BDBServer(1024, 256, 12341234, 0x100000, workers, poolMax)
    {}

    ~TestServer() override { stop(); }

    [[nodiscard]] int listenAnywhere() { return listen("127.0.0.1", 0); }
    int realPort() const { return portOf(listeningSocket()); }
    using TcpServer::listeningSocket;

    /** Opens `connection` to this server; its receives time out in the end. */
    [[nodiscard]] bool connectTo(Client::WireConnection* connection) const
    {
        connection->setReceiveTimeout(PatienceMs);
        return connection->open(Endpoint::Host, realPort());
    }
};

/** True when a request on `connection` gets the reply that it should. */
inline bool exchangeWorks(Client::WireConnection& connection, const QByteArray& body = "{}")
{
    QByteArray reply;
    return connection.exchange("DynamoDB_20111205.Nothing", body, &reply) && parseReply(reply) == internalErrorReply();
}

#endif
