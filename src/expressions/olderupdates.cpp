#include "expressions/olderupdates.h"

#include "expressions/requestjson.h"
#include "expressions/sets.h"

#include <utility>

namespace Expressions {

namespace {

using Items::AttributeValue;
using Items::JsonError;
using namespace RequestJson;
using Type = AttributeValue::Type;

/** An action that has a value. */
bool addChange(const std::string& attribute, std::string_view action, AttributeValue value, Update* update,
               JsonError* error)
{
    const Type type = value.type();
    if (action == "PUT") {
        SetValue source;
        source.value = shared(std::move(value));
        update->assignments.push_back({Path(attribute), std::move(source)});
    } else if (action == "ADD") {
        if (!isSet(type) && type != Type::Number && type != Type::List)
            return failForParameter(error,
                                    "ADD action is not supported for the type " + std::string(Items::nameOf(type)));
        update->additions.push_back({Path(attribute), shared(std::move(value))});
    } else {
        if (!isSet(type))
            return failForParameter(error, "DELETE action with value is not supported for the type " +
                                               std::string(Items::nameOf(type)));
        update->deletions.push_back({Path(attribute), shared(std::move(value))});
    }
    return true;
}

bool readAttributeUpdate(const std::string& attribute, const Items::JsonValue& json, Update* update, JsonError* error)
{
    if (!json.IsObject())
        return failForShape(error, "AttributeUpdates");
    const Items::JsonValue* actionMember = member(json, "Action");
    if (actionMember != nullptr && !actionMember->IsString())
        return failForShape(error, "Action");
    const std::string_view action = actionMember != nullptr ? textOf(*actionMember) : "PUT";
    if (action != "PUT" && action != "ADD" && action != "DELETE")
        return fail(error, "Unsupported action on AttributeUpdates: " + std::string(action));
    if (const Items::JsonValue* valueMember = member(json, "Value")) {
        AttributeValue value;
        return Items::readValue(*valueMember, &value, error) &&
               addChange(attribute, action, std::move(value), update, error);
    }
    if (action != "DELETE")
        return failForParameter(error, "Only DELETE action is allowed when no attribute value is specified");
    update->removals.emplace_back(attribute);
    return true;
}

} // namespace

bool readAttributeUpdates(const Items::JsonValue& json, Update* update, JsonError* error)
{
    if (!json.IsObject())
        return failForShape(error, "AttributeUpdates");
    update->isOlder = true;
    PathTree attributes;
    for (const auto& attribute : json.GetObject()) {
        const std::string name(textOf(attribute.name));
        if (name.empty())
            return failForParameter(error, "Attribute names must not be empty");
        if (attributes.add(Path(name)))
            return failForShape(error, "AttributeUpdates");
        if (!readAttributeUpdate(name, attribute.value, update, error))
            return false;
    }
    return true;
}

bool readAttributesToGet(const Items::JsonValue& json, PathTree* projection, JsonError* error)
{
    if (!json.IsArray())
        return failForShape(error, "AttributesToGet");
    for (const Items::JsonValue& element : json.GetArray()) {
        if (!element.IsString())
            return failForShape(error, "AttributesToGet");
        const std::string name(textOf(element));
        if (projection->add(Path(name)))
            return failForParameter(error, "Duplicate value in attribute name: " + name);
    }
    return true;
}

} // namespace Expressions
