#include "tools/session.h"

#include "format/tablename.h"
#include "protocol/envelope.h"
#include "protocol/framing.h"
#include "tools/arguments.h"
#include "tools/exitcode.h"
#include "tools/messages.h"
#include "tools/replies.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <filesystem>
#include <system_error>

namespace Ctl {

int Session::request(const Operations::Operation& operation, const QByteArray& body, QVariantMap* reply)
{
    const int code = send(operation, body);
    return code == ExitOk ? receive(reply) : code;
}

int Session::send(const Operations::Operation& operation, const QByteArray& body)
{
    const bool open = connection_.isOpen() || connect(server_, &connection_);
    return open && connection_.send(Framing::frameRequest(operation.fullName(), body)) ? int{ExitOk} : failed();
}

int Session::receive(QVariantMap* reply)
{
    QByteArray text;
    if (!connection_.receiveReply(&text))
        return failed();
    QVariant parsed;
    if (!Json::parse(text, &parsed)) {
        complain("no reply from " + server_.host + ':' + std::to_string(server_.port) +
                 ": the reply is not valid JSON");
        return ExitNoReply;
    }
    *reply = parsed.toMap();
    return Envelopes::isSuccess(*reply) ? ExitOk : ExitErrorReply;
}

/** A late reply would be mistaken for that of the next request. */
int Session::failed()
{
    complainNoReply(server_, connection_);
    connection_.close();
    return ExitNoReply;
}

int Session::request(const Operations::Operation& operation, const QVariantMap& body, QVariantMap* reply)
{
    return request(operation, Json::serialize(body), reply);
}

int Session::describe(const std::string& table, QVariantMap* description)
{
    if (const int code = checkTableName(table))
        return code;
    QVariantMap reply;
    const int code = request(Operations::DescribeTable, Bodies::table(QString::fromStdString(table)), &reply);
    if (code == ExitErrorReply && isNotFound(reply))
        return complainNotFound(table, reply);
    if (code == ExitErrorReply)
        complainReply("cannot describe the table " + table, reply);
    if (code == ExitOk)
        *description = reply.value("Table").toMap();
    return code;
}

int Session::complainNotFound(const std::string& table, const QVariantMap& reply)
{
    if (reply.contains("Table")) {
        complainReply("the table " + table + " has no usable key attributes", reply,
                      "quorvactl create-table --replace, to give it others");
        return ExitErrorReply;
    }
    QVariantMap opened;
    const int code = request(Operations::UpdateTable, Bodies::table(QString::fromStdString(table)), &opened);
    if (code == ExitNoReply)
        return code;
    if (code == ExitErrorReply && isNotFound(opened))
        complainDirectory("cannot find the table " + table, table, reply);
    else
        complainReply("there is no table " + table, reply);
    return ExitErrorReply;
}

int Session::readKeys(const std::string& table, KeyNames* keys)
{
    QVariantMap description;
    const int code = describe(table, &description);
    if (code == ExitOk)
        *keys = Bodies::keyNames(description);
    return code;
}

void complainDirectory(const std::string& failed, const std::string& table, const QVariantMap& reply)
{
    namespace fs = std::filesystem;
    const std::string directory(TableNames::directory(table));
    const std::string found = failed + ": ";
    std::error_code error;
    const fs::file_type type = fs::status(directory, error).type();
    if (directory.empty())
        complainReply(found + "its name has no directory", reply, "DIRECTORY|TABLE");
    else if (!fs::path(directory).is_absolute())
        complainReply(found + "the server cannot open its directory " + directory, reply,
                      "an absolute path, as a relative one starts from the server's working directory; the server's "
                      "log has the cause");
    else if (type == fs::file_type::not_found)
        complainReply(found + "there is no directory " + directory, reply,
                      "the spelling, or quorvactl init '" + directory + '\'');
    else if (type != fs::file_type::directory && type != fs::file_type::none && type != fs::file_type::unknown)
        complainReply(found + directory + " is not a directory", reply, "the spelling");
    else
        complainReply(found + "the server cannot open its directory " + directory, reply,
                      "the server's log, which has the cause: another process has the directory open, the server may "
                      "not read or write it, or its files are damaged");
}

} // namespace Ctl
