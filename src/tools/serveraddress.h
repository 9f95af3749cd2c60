#ifndef QUORVA_TOOLS_SERVERADDRESS_H
#define QUORVA_TOOLS_SERVERADDRESS_H

#include "client/wireconnection.h"
#include "protocol/endpoint.h"

#include <QByteArray>

#include <string>

namespace CLI {
class App;
}

namespace Ctl {

/** The server's address, and how long to wait for it. */
struct ServerAddress {
    std::string host = Endpoint::Host; // dotted IPv4
    int port = Endpoint::DefaultPort;
    int timeout = 0; // seconds to connect, and to wait for bytes of a reply; 0 means no limit

    /** Declares the options --host, --port and --timeout; QUORVA_HOST and QUORVA_PORT replace the first two. */
    void declare(CLI::App* app);
};

/** Connects to the server; connection->error() has the reason of a failure. */
[[nodiscard]] bool connect(const ServerAddress& server, Client::WireConnection* connection);

/**
 * One exchange on its own connection. Returns false if no complete reply was received, after reporting why on standard
 * error.
 */
[[nodiscard]] bool exchange(const ServerAddress& server, const QByteArray& operation, const QByteArray& body,
                            QByteArray* reply);

/** Reports on standard error why no reply was received on a connection. */
void complainNoReply(const ServerAddress& server, const Client::WireConnection& connection);

} // namespace Ctl

#endif
