#include "api/itemio.h"

#include "items/itemjson.h"

namespace Api {

namespace {

Failure failureOf(const Items::JsonError& error)
{
    return error.kind == Items::JsonError::Kind::Serialization ? Errors::serialization(error.message)
                                                               : Errors::validation(error.message);
}

} // namespace

Failure readItem(const Items::JsonValue& json, Items::Item* item)
{
    Items::JsonError error;
    return Items::readItem(json, item, &error) ? Failure() : failureOf(error);
}

Failure readValue(const Items::JsonValue& json, Items::AttributeValue* value)
{
    Items::JsonError error;
    return Items::readValue(json, value, &error) ? Failure() : failureOf(error);
}

Failure readParameters(Expressions::RequestKind kind, const Items::JsonValue& request,
                       Expressions::Parameters* parameters)
{
    Items::JsonError error;
    return Expressions::readParameters(kind, request, parameters, &error) ? Failure() : failureOf(error);
}

void writeItem(const Items::Item& item, const std::optional<Expressions::PathTree>& projection, JsonWriter* writer)
{
    if (projection)
        Items::writeItem(projection->partsOf(item), writer);
    else
        Items::writeItem(item, writer);
}

} // namespace Api
