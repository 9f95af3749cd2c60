#ifndef QUORVA_API_DIRECTORYROOM_H
#define QUORVA_API_DIRECTORYROOM_H

#include "api/error.h"
#include "api/server.h"

#include <string_view>

/** The room for open files in a table's directory, which may be why the server fails to read or write there. */
namespace Api::DirectoryRoom {

/**
 * What to answer to a reply about the table with this real name: limitExceeded() if the server has failed and the
 * table's directory is full, else ServerReply::failure(). Asks the server when the reply is an internal error, only.
 */
[[nodiscard]] Failure failureOf(const Server& server, const ServerReply& reply, std::string_view realName);

} // namespace Api::DirectoryRoom

#endif
