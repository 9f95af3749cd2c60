#ifndef QUORVA_EXPRESSIONS_REQUESTJSON_H
#define QUORVA_EXPRESSIONS_REQUESTJSON_H

#include "items/itemjson.h"
#include "items/json.h"

#include <string>
#include <string_view>

/** Reading the members of requests. */
namespace Expressions::RequestJson {

/** A member of an object; null if it is missing or null. */
inline const Items::JsonValue* member(const Items::JsonValue& object, std::string_view name)
{
    const auto found = object.FindMember(Items::JsonValue(rapidjson::StringRef(name.data(), name.size())));
    return found == object.MemberEnd() || found->value.IsNull() ? nullptr : &found->value;
}

inline std::string_view textOf(const Items::JsonValue& string)
{
    return {string.GetString(), string.GetStringLength()};
}

/** Set the error and return false. */
inline bool failForShape(Items::JsonError* error, std::string_view member)
{
    *error = {Items::JsonError::Kind::Serialization, std::string(member) + " has an unexpected form"};
    return false;
}

inline bool fail(Items::JsonError* error, std::string message)
{
    *error = {Items::JsonError::Kind::Validation, std::move(message)};
    return false;
}

inline bool failForParameter(Items::JsonError* error, const std::string& message)
{
    return fail(error, "One or more parameter values were invalid: " + message);
}

} // namespace Expressions::RequestJson

#endif
