#include "tools/serveraddress.h"

#include "protocol/operations.h"
#include "tools/messages.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstring>
#include <vector>

namespace Ctl {

void ServerAddress::declare(CLI::App* app)
{
    app->add_option("--host", host, "The server's IPv4 address, or localhost")
        ->check(CLI::ValidIPV4)
        ->transform([](const std::string& name) { return name == "localhost" ? Endpoint::Host : name; })
        ->capture_default_str()
        ->envname("QUORVA_HOST");
    app->add_option("--port", port, "The server's port")
        ->check(CLI::Range(1, 65535))
        ->capture_default_str()
        ->envname("QUORVA_PORT");
    app->add_option("--timeout", timeout, "Seconds to wait for the server; 0 waits forever")
        ->check(CLI::Range(0, 1000000))
        ->capture_default_str();
}

bool connect(const ServerAddress& server, Client::WireConnection* connection)
{
    connection->setConnectTimeout(server.timeout * 1000);
    connection->setReceiveTimeout(server.timeout * 1000);
    return connection->open(QString::fromStdString(server.host), server.port);
}

bool exchange(const ServerAddress& server, const QByteArray& operation, const QByteArray& body, QByteArray* reply)
{
    Client::WireConnection connection;
    if (connect(server, &connection) && connection.exchange(Operations::fullName(operation), body, reply))
        return true;
    complainNoReply(server, connection);
    return false;
}

void complainNoReply(const ServerAddress& server, const Client::WireConnection& connection)
{
    const std::string error = connection.error().toStdString();
    std::vector<std::string> details;
    if (error.starts_with("connect:") || error.starts_with("no connection within"))
        details.emplace_back("try: start the server, or name another one with --host and --port");
    else if (error.ends_with(" ms"))
        details.emplace_back("try: a longer --timeout; the server may still make the change, if the request was one");
    else if (error == "the server closed the connection" || error.ends_with(std::strerror(ECONNRESET)) ||
             error.ends_with(std::strerror(EPIPE)))
        details.emplace_back("try: the server's log; it closes the connections of users who are not in its "
                             "QUORVA_ALLOW_USERS, and those with a request that is not valid JSON");
    complain("no reply from " + server.host + ':' + std::to_string(server.port) + ": " + error, details);
}

} // namespace Ctl
