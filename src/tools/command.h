#ifndef QUORVA_TOOLS_COMMAND_H
#define QUORVA_TOOLS_COMMAND_H

#include <QByteArray>

#include <string>

namespace Client {
class Connection;
}

/**
 * What the commands of quorvactl share. Each command is a class in a file of its own: its constructor declares its
 * arguments to the command line, `run` does its work and returns one of these codes.
 */
namespace Ctl {

/** Scripts test these; `--help` lists them. */
enum ExitCode : int {
    ExitOk = 0,         // the reply's "__rc" was 200
    ExitErrorReply = 1, // any other reply
    ExitNoReply = 2,    // no whole reply came, or it could not be printed; standard error tells why
    ExitUsage = 64,     // the command line was wrong; nothing was sent
};

/** Where the server listens. */
struct ServerAddress {
    std::string host; // dotted IPv4
    int port;
};

/** One exchange on a connection of its own. False when no whole reply came, after telling why on standard error. */
[[nodiscard]] bool exchange(const ServerAddress& server, const QByteArray& operation, const QByteArray& body,
                            QByteArray* reply);

/** True when the text is a reply object whose "__rc" is 200. */
bool isSuccess(const QByteArray& reply);

/** Tells on standard error why no reply came on a connection. */
void complainNoReply(const ServerAddress& server, const Client::Connection& connection);

/** Prints "quorvactl: MESSAGE" on standard error. */
void complain(const std::string& message);

} // namespace Ctl

#endif
