#include "tools/command.h"

#include "client/connection.h"
#include "json/jsonadapter.h"

#include <cstdio>

namespace Ctl {

bool exchange(const ServerAddress& server, const QByteArray& operation, const QByteArray& body, QByteArray* reply)
{
    Client::Connection connection;
    if (connection.open(QString::fromStdString(server.host), server.port) &&
        connection.exchange(Client::fullOperationName(operation), body, reply))
        return true;
    complainNoReply(server, connection);
    return false;
}

bool isSuccess(const QByteArray& reply)
{
    QVariant parsed;
    return Json::parse(reply, &parsed) && parsed.toMap().value(QStringLiteral("__rc")) == 200;
}

void complainNoReply(const ServerAddress& server, const Client::Connection& connection)
{
    complain("no reply from " + server.host + ':' + std::to_string(server.port) + ": " +
             connection.error().toStdString());
}

void complain(const std::string& message)
{
    std::fprintf(stderr, "quorvactl: %s\n", message.c_str());
}

} // namespace Ctl
