#include "api/error.h"

#include "api/replyjson.h"

#include <utility>

namespace Api {

namespace {

/** The namespaces of "__type". */
constexpr const char* Validation = "com.amazon.coral.validate#ValidationException";
constexpr const char* Serialization = "com.amazon.coral.service#SerializationException";
constexpr const char* UnknownOperation = "com.amazon.coral.service#UnknownOperationException";
constexpr const char* Unavailable = "com.amazon.coral.service#ServiceUnavailableException";

enum Status : int { BadRequest = 400, InternalError = 500, ServiceUnavailable = 503 };

Error ofTheApi(const char* name, std::string message, std::string members = {})
{
    return {BadRequest, std::string("com.amazonaws.dynamodb.v20120810#") + name, std::move(message),
            std::move(members)};
}

} // namespace

std::string Error::body() const
{
    Items::JsonText text;
    JsonWriter writer(text);
    writer.StartObject();
    put("__type", type, &writer);
    put(type == Serialization ? "Message" : "message", message, &writer);
    writer.EndObject();
    std::string body(text.GetString(), text.GetSize());
    if (!members.empty())
        body.insert(body.size() - 1, ',' + members);
    return body;
}

Error Errors::validation(std::string message)
{
    return {BadRequest, Validation, std::move(message), {}};
}

Error Errors::invalidParameter(const std::string& message)
{
    return validation("One or more parameter values were invalid: " + message);
}

Error Errors::serialization(std::string message)
{
    return {BadRequest, Serialization, std::move(message), {}};
}

Error Errors::unknownOperation(std::string message)
{
    return {BadRequest, UnknownOperation, std::move(message), {}};
}

Error Errors::resourceNotFound()
{
    return resourceNotFound("Requested resource not found");
}

Error Errors::resourceNotFound(std::string message)
{
    return ofTheApi("ResourceNotFoundException", std::move(message));
}

Error Errors::tableNotFound(std::string_view name)
{
    return resourceNotFound("Requested resource not found: Table: " + std::string(name) + " not found");
}

Error Errors::resourceInUse(std::string message)
{
    return ofTheApi("ResourceInUseException", std::move(message));
}

Error Errors::limitExceeded(std::string message)
{
    return ofTheApi("LimitExceededException", std::move(message));
}

Error Errors::backupTableNotFound(std::string_view name)
{
    return ofTheApi("TableNotFoundException", "Table not found: " + std::string(name));
}

Error Errors::conditionalCheckFailed(std::string members)
{
    return ofTheApi("ConditionalCheckFailedException", "The conditional request failed", std::move(members));
}

Error Errors::transactionConflict()
{
    return ofTheApi("TransactionConflictException", "Transaction is ongoing for the item");
}

Error Errors::internal(std::string message)
{
    Error error = ofTheApi("InternalServerError", std::move(message));
    error.status = InternalError;
    return error;
}

Error Errors::unavailable(std::string message)
{
    return {ServiceUnavailable, Unavailable, std::move(message), {}};
}

} // namespace Api
