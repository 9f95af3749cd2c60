#include "api/members.h"

#include <cmath>
#include <limits>
#include <map>

namespace Api {

const Items::JsonValue* member(const Items::JsonValue& object, std::string_view name)
{
    if (!object.IsObject())
        return nullptr;
    const Items::JsonValue wanted(rapidjson::StringRef(name.data(), name.size()));
    const auto found = object.FindMember(wanted);
    return found != object.MemberEnd() && !found->value.IsNull() ? &found->value : nullptr;
}

std::string_view textOf(const Items::JsonValue& string)
{
    return {string.GetString(), string.GetStringLength()};
}

std::vector<std::pair<std::string_view, const Items::JsonValue*>> lastMembers(const Items::JsonValue& object)
{
    std::map<std::string_view, const Items::JsonValue*> last;
    for (const auto& [name, value] : object.GetObject())
        last[textOf(name)] = &value;
    std::vector<std::pair<std::string_view, const Items::JsonValue*>> members;
    for (const auto& [name, value] : object.GetObject()) {
        if (last[textOf(name)] == &value)
            members.emplace_back(textOf(name), &value);
    }
    return members;
}

std::string_view textIn(const Items::JsonValue& object, std::string_view name)
{
    const Items::JsonValue* const found = member(object, name);
    return found != nullptr && found->IsString() ? textOf(*found) : std::string_view();
}

std::optional<bool> boolIn(const Items::JsonValue& object, std::string_view name)
{
    const Items::JsonValue* const found = member(object, name);
    return found != nullptr && found->IsBool() ? std::optional(found->GetBool()) : std::nullopt;
}

std::optional<long long> numberIn(const Items::JsonValue& object, std::string_view name)
{
    const Items::JsonValue* const found = member(object, name);
    return found != nullptr && found->IsNumber() ? std::optional(integerOf(*found)) : std::nullopt;
}

long long integerOf(const Items::JsonValue& number)
{
    using Limits = std::numeric_limits<long long>;
    if (number.IsInt64())
        return number.GetInt64();
    if (number.IsUint64())
        return Limits::max();
    const double value = std::trunc(number.GetDouble());
    if (value >= static_cast<double>(Limits::max()))
        return Limits::max();
    if (value <= static_cast<double>(Limits::min()))
        return Limits::min();
    return static_cast<long long>(value);
}

} // namespace Api
