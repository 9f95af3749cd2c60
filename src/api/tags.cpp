#include "api/members.h"
#include "api/tablecatalog.h"
#include "api/tableoperations.h"
#include "api/tableoptions.h"

namespace Api {

namespace {

// Kept: "ResourcArn" and "Atleast" are how the API spells them, and clients compare whole messages.

/** Fails unless a table's ARN is given; operations on tags take no names. */
Failure checkArn(std::string_view arn)
{
    if (arn.starts_with("arn:") && arn.find(":table/") != std::string_view::npos)
        return std::nullopt;
    return Errors::validation("Invalid TableArn: Invalid ResourceArn provided as input " + std::string(arn));
}

/** The error for a table that was not found, in the form of these operations. */
Failure named(Failure failure, std::string_view arn)
{
    if (failure && failure->type == Errors::resourceNotFound().type)
        return Errors::resourceNotFound("Requested resource not found: ResourcArn: " + std::string(arn) + " not found");
    return failure;
}

Failure update(const Items::JsonValue& request, Context& context, const TableCatalog::Change& change)
{
    const std::string_view arn = textIn(request, "ResourceArn");
    if (Failure failure = checkArn(arn))
        return failure;
    std::shared_ptr<const Table> changed;
    return named(context.tables.update(arn, change, &changed), arn);
}

} // namespace

// The API's replies to the next two have no body, not even an empty object.

Failure tagResource(const Items::JsonValue& request, Context& context, JsonWriter*)
{
    const Items::JsonValue& tags = *member(request, "Tags");
    if (tags.Empty())
        return Errors::validation("Atleast one Tag needs to be provided as Input.");
    return update(request, context, [&](Table* table) { return TableOptions::addTags(tags, table); });
}

Failure untagResource(const Items::JsonValue& request, Context& context, JsonWriter*)
{
    const Items::JsonValue& keys = *member(request, "TagKeys");
    if (keys.Empty())
        return Errors::validation("Atleast one Tag Key needs to be provided as Input.");
    return update(request, context, [&](Table* table) -> Failure {
        for (const Items::JsonValue& key : keys.GetArray()) {
            if (key.IsString())
                table->tags.erase(std::string(textOf(key)));
        }
        return std::nullopt;
    });
}

Failure listTagsOfResource(const Items::JsonValue& request, Context& context, JsonWriter* reply)
{
    const std::string_view arn = textIn(request, "ResourceArn");
    if (Failure failure = checkArn(arn))
        return failure;
    std::shared_ptr<const Table> table;
    if (Failure failure = context.tables.find(arn, &table))
        return named(failure, arn);
    reply->StartObject();
    putName("Tags", reply);
    reply->StartArray();
    for (const auto& [key, value] : table->tags) {
        reply->StartObject();
        put("Key", key, reply);
        put("Value", value, reply);
        reply->EndObject();
    }
    reply->EndArray();
    reply->EndObject();
    return std::nullopt;
}

} // namespace Api
