#ifndef QUORVA_API_MEMBERS_H
#define QUORVA_API_MEMBERS_H

#include "items/json.h"

#include <optional>
#include <string_view>
#include <utility>
#include <vector>

/** Reading requests and the server's replies. A member that is null counts as missing, as everywhere in the API. */
namespace Api {

/** The member of an object; null when it is missing. */
const Items::JsonValue* member(const Items::JsonValue& object, std::string_view name);

inline bool hasMember(const Items::JsonValue& object, std::string_view name)
{
    return member(object, name) != nullptr;
}

/** The characters of a string. */
std::string_view textOf(const Items::JsonValue& string);

/** The members of an object in their order; of several with the same name, only the last one. */
std::vector<std::pair<std::string_view, const Items::JsonValue*>> lastMembers(const Items::JsonValue& object);

// Members that a request's shape has: if present, they are of the right type.

/** Empty if it is missing. */
std::string_view textIn(const Items::JsonValue& object, std::string_view name);
std::optional<bool> boolIn(const Items::JsonValue& object, std::string_view name);
/** Truncates fractions. */
std::optional<long long> numberIn(const Items::JsonValue& object, std::string_view name);
/** A JSON number, truncated, and limited to the range of 64 bits. */
long long integerOf(const Items::JsonValue& number);

} // namespace Api

#endif
