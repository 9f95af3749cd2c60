#ifndef QUORVA_API_ERROR_H
#define QUORVA_API_ERROR_H

#include <optional>
#include <string>
#include <string_view>

/** The API of 2012-08-10: requests in its JSON become requests to the server, whose replies become the API's. */
namespace Api {

/** An error reply. */
struct Error {
    int status = 400; // of HTTP
    std::string type; // the full "__type", with its namespace
    std::string message;
    std::string members; // further members as JSON text, such as "Item":{...}; may be empty

    /** The reply's body. */
    std::string body() const;
};

/** Why a step failed; empty when it succeeded. */
using Failure = std::optional<Error>;

/** The API's errors: for each its "__type" and, where it is fixed, its text. */
namespace Errors {

// The request is malformed. Texts vary.
Error validation(std::string message);
Error invalidParameter(const std::string& message); // "One or more parameter values were invalid: ..."
Error serialization(std::string message);           // not JSON, or of other JSON types than the API's
Error unknownOperation(std::string message);

// Tables.
Error resourceNotFound(); // "Requested resource not found": operations that read or write items
Error resourceNotFound(std::string message);
Error tableNotFound(std::string_view name);       // "...: Table: NAME not found": operations that manage tables
Error resourceInUse(std::string message);         // the table exists, or may not be changed
Error limitExceeded(std::string message);         // more of something than the API allows
Error backupTableNotFound(std::string_view name); // TableNotFoundException, of the operations for backups

// Items.
Error conditionalCheckFailed(std::string members = {}); // `members`: "Item":{...}, when it was asked for
Error transactionConflict();                            // other writers kept changing the item

// The server.
Error internal(std::string message);    // 500: a request that writes may have been executed
Error unavailable(std::string message); // 503: nothing was done

} // namespace Errors

} // namespace Api

#endif
