#include "api/directoryroom.h"

#include "api/directorylist.h"
#include "api/members.h"
#include "format/tablename.h"
#include "protocol/envelope.h"
#include "protocol/limits.h"
#include "protocol/operations.h"

#include <algorithm>
#include <string>

namespace Api {

namespace {

/** Whether the server's status has a directory, by its canonical path, with as many open files as it can have. */
bool hasFull(const Items::JsonValue& status, std::string_view directory)
{
    const Items::JsonValue* const open = member(status, "Environments");
    if (open == nullptr || !open->IsArray())
        return false;
    return std::any_of(open->Begin(), open->End(), [&](const Items::JsonValue& environment) {
        return textIn(environment, "Directory") == directory &&
               numberIn(environment, "Files").value_or(0) >= Limits::OpenDatabases;
    });
}

/** False also if the server does not say. */
bool isFull(const Server& server, std::string_view directory)
{
    std::string path;
    if (DirectoryList::findPath(server, directory, &path))
        return false;
    ServerReply status;
    return !server.send(Operations::Status, "{}", &status) && status.isSuccess() && hasFull(status.body(), path);
}

} // namespace

Failure DirectoryRoom::failureOf(const Server& server, const ServerReply& reply, std::string_view realName)
{
    const std::string_view directory = TableNames::directory(realName);
    if (!reply.isError(ErrorTypes::InternalServerError) || !isFull(server, directory))
        return reply.failure();
    return Errors::limitExceeded("The directory " + std::string(directory) + " has " +
                                 std::to_string(Limits::OpenDatabases) +
                                 " files of tables open, the most that it can have; put the table into another "
                                 "directory");
}

} // namespace Api
