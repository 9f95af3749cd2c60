#ifndef QUORVA_TOOLS_SERVERADDRESS_H
#define QUORVA_TOOLS_SERVERADDRESS_H

#include "client/wireconnection.h"

#include <QByteArray>

#include <string>

namespace CLI {
class App;
}

namespace Ctl {

/** Where the server listens, and how long to wait for it. */
struct ServerAddress {
    std::string host = Client::DefaultHost; // dotted IPv4
    int port = Client::DefaultPort;
    int timeout = 0; // seconds to connect, and without a byte of a reply; 0 is without limit

    /** Declares the options --host, --port and --timeout. */
    void declare(CLI::App* app);
};

/** Connects to the server; connection->error() tells why not. */
[[nodiscard]] bool connect(const ServerAddress& server, Client::WireConnection* connection);

/** One exchange on a connection of its own. False when no whole reply came, after telling why on standard error. */
[[nodiscard]] bool exchange(const ServerAddress& server, const QByteArray& operation, const QByteArray& body,
                            QByteArray* reply);

/** Tells on standard error why no reply came on a connection. */
void complainNoReply(const ServerAddress& server, const Client::WireConnection& connection);

} // namespace Ctl

#endif
