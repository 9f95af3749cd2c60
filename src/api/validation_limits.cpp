// Checks of lengths, ranges, patterns and enumerations.
#include "api/limitrules.h"
#include "api/members.h"
#include "api/validation.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace Api {

namespace {

using Kind = Shape::Kind;

constexpr std::size_t MostErrors = 10; // how many are reported
constexpr const char* NotNull = "Member must not be null";

bool isScalar(const Shape& shape)
{
    return shape.kind != Kind::Structure && shape.kind != Kind::List && shape.kind != Kind::Map;
}

/** A value as messages show it; for an object only that it is one. */
std::string shown(const Items::JsonValue& value)
{
    if (value.IsString())
        return std::string(textOf(value));
    if (value.IsNumber())
        return std::to_string(integerOf(value));
    if (value.IsObject())
        return value.ObjectEmpty() ? "{}" : "{...}";
    if (!value.IsArray())
        return value.IsNull() ? "null" : value.GetBool() ? "true" : "false";
    std::string elements;
    for (const Items::JsonValue& element : value.GetArray())
        elements.append(elements.empty() ? "" : ", ").append(shown(element));
    return '[' + elements + ']';
}

std::string quoted(const Items::JsonValue& value)
{
    return '\'' + shown(value) + '\'';
}

std::string pathOf(const std::string& parent, std::string_view name)
{
    std::string path = parent.empty() ? std::string() : parent + '.';
    path.append(name);
    char& first = path[path.size() - name.size()];
    if (first >= 'A' && first <= 'Z')
        first = static_cast<char>(first - 'A' + 'a');
    return path;
}

class LimitCheck {
public:
    void check(const Items::JsonValue& value, const Shape& shape, const std::string& path)
    {
        for (const std::string& rule : LimitRules::brokenBy(value, shape))
            add(quoted(value), path, rule);
        checkInside(value, shape, path);
    }

    Failure failure() const
    {
        if (errors_.empty())
            return std::nullopt;
        std::string text =
            std::to_string(errors_.size()) + " validation error" + (errors_.size() == 1 ? "" : "s") + " detected: ";
        for (std::size_t i = 0; i < errors_.size(); ++i)
            text.append(i == 0 ? "" : "; ").append(errors_[i]);
        return Errors::validation(std::move(text));
    }

private:
    // An element that is null is refused, so that no operation has to expect one: unlike a member, it cannot be
    // missing.

    void add(const std::string& value, const std::string& path, const std::string& rule)
    {
        if (errors_.size() < MostErrors)
            errors_.push_back("Value " + value + " at '" + path + "' failed to satisfy constraint: " + rule);
    }

    void checkInside(const Items::JsonValue& value, const Shape& shape, const std::string& path)
    {
        if (shape.hasNoLimits)
            return;
        if (shape.kind == Kind::Structure)
            checkMembers(value, shape, path);
        else if (shape.kind == Kind::List)
            checkElements(value, shape, path);
        else if (shape.kind == Kind::Map)
            checkEntries(value, shape, path);
    }

    void checkMembers(const Items::JsonValue& value, const Shape& shape, const std::string& path)
    {
        for (const Member& expected : shape.members) {
            const Items::JsonValue* const found = member(value, expected.name);
            if (found != nullptr)
                check(*found, *expected.shape, pathOf(path, expected.name));
            else if (expected.isRequired)
                add("null", pathOf(path, expected.name), NotNull);
        }
    }

    void checkElements(const Items::JsonValue& value, const Shape& shape, const std::string& path)
    {
        for (rapidjson::SizeType i = 0; i < value.Size(); ++i) {
            const std::string element = path + '.' + std::to_string(i + 1) + ".member";
            if (value[i].IsNull())
                add("null", element, NotNull);
            else if (!isScalar(*shape.element))
                check(value[i], *shape.element, element);
        }
        const auto isBroken = [&](const Items::JsonValue& element) {
            return !LimitRules::brokenBy(element, *shape.element).empty();
        };
        if (isScalar(*shape.element) && LimitRules::areThere(*shape.element) &&
            std::any_of(value.Begin(), value.End(), isBroken))
            add(quoted(value), path, "Member must satisfy constraint: [" + LimitRules::all(*shape.element) + ']');
    }

    void checkEntries(const Items::JsonValue& value, const Shape& shape, const std::string& path)
    {
        if (LimitRules::areThere(*shape.key) &&
            std::any_of(value.MemberBegin(), value.MemberEnd(),
                        [&](const auto& entry) { return !LimitRules::brokenBy(entry.name, *shape.key).empty(); }))
            add(quoted(value), path, "Map keys must satisfy constraint: [" + LimitRules::all(*shape.key) + ']');
        if (LimitRules::areThere(*shape.element) &&
            std::any_of(value.MemberBegin(), value.MemberEnd(),
                        [&](const auto& entry) { return !LimitRules::brokenBy(entry.value, *shape.element).empty(); }))
            add(quoted(value), path, "Map value must satisfy constraint: [" + LimitRules::all(*shape.element) + ']');
        for (const auto& entry : value.GetObject()) {
            if (!entry.value.IsNull() && shape.element->hasNoLimits)
                continue;
            const std::string element = path + '.' + std::string(textOf(entry.name)) + ".member";
            if (entry.value.IsNull())
                add("null", element, NotNull);
            else
                checkInside(entry.value, *shape.element, element);
        }
    }

    std::vector<std::string> errors_;
};

} // namespace

Failure Validation::checkLimits(const Items::JsonValue& request, const Shape& shape)
{
    LimitCheck check;
    check.check(request, shape, {});
    return check.failure();
}

} // namespace Api
