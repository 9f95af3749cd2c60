#ifndef QUORVA_TESTS_TOOLS_COMPLAINTS_H
#define QUORVA_TESTS_TOOLS_COMPLAINTS_H

#include <string>

/** What quorvactl prints on standard error. */
namespace Complaints {

inline constexpr const char* NotFound = "Not Found, ResourceNotFoundException: Specified item does not exist.";
inline constexpr const char* ConditionFailed =
    "Bad Request, ConditionalCheckFailedException: The conditional request failed.";
inline constexpr const char* InternalError =
    "Bad Request, InternalServerError: The server encountered an internal error.";
inline constexpr const char* InvalidRequest = "Bad Request, ValidationException: A parameter is missing";

/** After an error reply; the line with the advice is omitted if there is none. */
inline std::string errorReply(const std::string& failed, const std::string& says, const std::string& advice)
{
    return "quorvactl: " + failed + "\n  the server says: " + says + '\n' +
           (advice.empty() ? std::string() : "  try: " + advice + '\n');
}

/** On Not Found, unless more specific advice applies. */
inline std::string notFound(const std::string& failed)
{
    return errorReply(failed, NotFound, "the spelling, or quorvactl create-table");
}

/** On Not Found because of the table's directory: it does not exist, or the server cannot open it. */
inline std::string noDirectory(const std::string& failed, const std::string& directory)
{
    return errorReply(failed + ": there is no directory " + directory, NotFound,
                      "the spelling, or quorvactl init '" + directory + '\'');
}
inline std::string unopenedDirectory(const std::string& failed, const std::string& directory)
{
    return errorReply(failed + ": the server cannot open its directory " + directory, NotFound,
                      "the server's log, which has the cause: another process has the directory open, the server may "
                      "not read or write it, or its files are damaged");
}
inline std::string unopenedRelativeDirectory(const std::string& failed, const std::string& directory)
{
    return errorReply(failed + ": the server cannot open its directory " + directory, NotFound,
                      "an absolute path, as a relative one starts from the server's working directory; the server's "
                      "log has the cause");
}

inline std::string internalError(const std::string& failed)
{
    return errorReply(failed, InternalError, "the server's log, which has the cause");
}

inline std::string noReply(int port, const std::string& reason)
{
    return "quorvactl: no reply from 127.0.0.1:" + std::to_string(port) + ": " + reason + '\n';
}

/** If nothing listens on the port. */
inline std::string noServer(int port)
{
    return noReply(port, "connect: Connection refused") +
           "  try: start the server, or name another one with --host and --port\n";
}

/** When the server accepts no connection within a second. */
inline std::string unconnected(int port)
{
    return noReply(port, "no connection within 1000 ms") +
           "  try: start the server, or name another one with --host and --port\n";
}

/** When the server receives a request and does not reply within a second. */
inline std::string late(int port)
{
    return noReply(port, "no bytes within 1000 ms") +
           "  try: a longer --timeout; the server may still make the change, if the request was one\n";
}

/** When the server closes the connection during an exchange. */
inline std::string connectionClosed(int port)
{
    return noReply(port, "the server closed the connection") +
           "  try: the server's log; it closes the connections of users who are not in its QUORVA_ALLOW_USERS, "
           "and those with a request that is not valid JSON\n";
}

} // namespace Complaints

#endif
