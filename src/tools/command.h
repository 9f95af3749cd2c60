#ifndef QUORVA_TOOLS_COMMAND_H
#define QUORVA_TOOLS_COMMAND_H

#include <QByteArray>
#include <QVariantMap>

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace Client {
class WireConnection;
}

/**
 * What the commands of quorvactl share. Each command is a class in a file of its own: its constructor declares its
 * arguments to the command line, `run` does its work and returns one of these codes.
 *
 * A message on standard error has one line that says what was wrong, and below it, where there is something to tell,
 * what the server said and what to try.
 */
namespace Ctl {

/** Scripts test these; `--help` lists them. */
enum ExitCode : int {
    ExitOk = 0,         // the reply's "__rc" was 200
    ExitErrorReply = 1, // any other reply
    ExitNoReply = 2,    // no whole reply came, or it could not be printed; standard error tells why
    ExitUsage = 64,     // the command line was wrong, or an argument cannot be used; nothing was written
};

/** Where the server listens, and how long to wait for it. */
struct ServerAddress {
    std::string host; // dotted IPv4
    int port;
    int timeout = 0; // seconds to connect, and without a byte of a reply; 0 is without limit
};

/** Connects to the server; connection->error() tells why not. */
[[nodiscard]] bool connect(const ServerAddress& server, Client::WireConnection* connection);

/** Declares the argument TABLE. */
void addTableArgument(CLI::App* command, std::string* table);

/** ExitOk, or ExitErrorReply after telling why no table can have this name (see format/tablename.h). */
[[nodiscard]] int checkTableName(const std::string& table);

/** A check of a whole number that is at least `least`, whose message says so and no more; `of` is what is counted. */
CLI::Validator wholeNumber(int least, const std::string& of);

/** Puts an example in front of what ends a command's help. */
void addExample(CLI::App* command, const std::string& example);

/** One exchange on a connection of its own. False when no whole reply came, after telling why on standard error. */
[[nodiscard]] bool exchange(const ServerAddress& server, const QByteArray& operation, const QByteArray& body,
                            QByteArray* reply);

/** True when the text is a reply object whose "__rc" is 200. */
bool isSuccess(const QByteArray& reply);

/** Tells on standard error why no reply came on a connection. */
void complainNoReply(const ServerAddress& server, const Client::WireConnection& connection);

/**
 * Tells of an error reply: `failed` is what could not be done, `advice` what to try. Without advice there is one that
 * goes by the kind of the error.
 */
void complainReply(const std::string& failed, const QVariantMap& reply, const std::string& advice = {});

/** The server's words in an error reply: "Not Found, ResourceNotFoundException: Specified item does not exist." */
std::string serverSays(const QVariantMap& reply);

/** True for a reply that says Not Found. */
bool isNotFound(const QVariantMap& reply);

/** Prints "quorvactl: MESSAGE" on standard error, and further lines below it. */
void complain(const std::string& message, const std::vector<std::string>& details = {});

/** "1 item", "2 items". */
std::string counted(long long number, const std::string& noun);

/** Prints a line on standard output. ExitOk, or ExitNoReply after telling that it cannot be written. */
[[nodiscard]] int printLine(const QByteArray& text);

/** Everything that standard input has. False, after telling, when it cannot be read. */
[[nodiscard]] bool readStandardInput(QByteArray* text);

} // namespace Ctl

#endif
