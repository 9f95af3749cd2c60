// Checks of lengths, ranges, patterns and enumerations.
#include "api/commonshapes.h"
#include "api/members.h"
#include "api/validation.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace Api {

namespace {

using Kind = Shape::Kind;

constexpr std::size_t MostErrors = 10; // that are reported
constexpr const char* NotNull = "Member must not be null";

bool isScalar(const Shape& shape)
{
    return shape.kind != Kind::Structure && shape.kind != Kind::List && shape.kind != Kind::Map;
}

bool hasLimits(const Shape& shape)
{
    return shape.minimum != Shape::NoMinimum || shape.maximum != Shape::NoMaximum || !shape.pattern.empty() ||
           !shape.values.empty();
}

/** The length of UTF-8 in UTF-16 code units, in which the API counts. */
long long lengthOf(std::string_view utf8)
{
    long long length = 0;
    for (const char c : utf8) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xC0) != 0x80)
            length += byte >= 0xF0 ? 2 : 1;
    }
    return length;
}

bool isNameCharacter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '.' ||
           c == '-';
}

/** NamePattern is the only one. */
bool matchesPattern(std::string_view text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), isNameCharacter);
}

bool isRealNameOrArn(std::string_view text)
{
    return text.find('|') != std::string_view::npos || text.starts_with("arn:");
}

std::string joined(std::span<const std::string_view> words)
{
    std::string text;
    for (const std::string_view word : words)
        text.append(text.empty() ? "" : ", ").append(word);
    return text;
}

std::string minimumRule(const Shape& shape, const char* what)
{
    return std::string("Member must have ") + what + " greater than or equal to " + std::to_string(shape.minimum);
}

std::string maximumRule(const Shape& shape, const char* what)
{
    return std::string("Member must have ") + what + " less than or equal to " + std::to_string(shape.maximum);
}

void addRangeRules(long long number, const Shape& shape, const char* what, std::vector<std::string>* broken)
{
    if (number < shape.minimum)
        broken->push_back(minimumRule(shape, what));
    if (number > shape.maximum)
        broken->push_back(maximumRule(shape, what));
}

void addTextRules(std::string_view text, const Shape& shape, std::vector<std::string>* broken)
{
    if (shape.isTableName && isRealNameOrArn(text))
        return;
    if (!shape.pattern.empty() && !matchesPattern(text))
        broken->push_back("Member must satisfy regular expression pattern: " + std::string(shape.pattern));
    addRangeRules(lengthOf(text), shape, "length", broken);
    if (!shape.values.empty() && std::find(shape.values.begin(), shape.values.end(), text) == shape.values.end())
        broken->push_back("Member must satisfy enum value set: [" + joined(shape.values) + ']');
}

/** The rules that a value itself breaks, without those of what it contains. */
std::vector<std::string> brokenRules(const rapidjson::Value& value, const Shape& shape)
{
    std::vector<std::string> broken;
    if (value.IsString() && shape.kind == Kind::String)
        addTextRules(textOf(value), shape, &broken);
    else if (value.IsNumber())
        addRangeRules(integerOf(value), shape, "value", &broken);
    else if (value.IsArray())
        addRangeRules(value.Size(), shape, "length", &broken);
    else if (value.IsObject())
        addRangeRules(value.MemberCount(), shape, "length", &broken);
    return broken;
}

/** All rules of a string, as they are listed for the elements of a list and the keys of a map. */
std::string allRules(const Shape& shape)
{
    std::string rules;
    const auto add = [&](const std::string& rule) { rules.append(rules.empty() ? "" : ", ").append(rule); };
    if (shape.maximum != Shape::NoMaximum)
        add(maximumRule(shape, "length"));
    if (shape.minimum != Shape::NoMinimum)
        add(minimumRule(shape, "length"));
    if (!shape.pattern.empty())
        add("Member must satisfy regular expression pattern: " + std::string(shape.pattern));
    if (!shape.values.empty())
        add("Member must satisfy enum value set: [" + joined(shape.values) + ']');
    return rules;
}

/** A value in a message. Of nested ones only the outside is shown. */
std::string shown(const rapidjson::Value& value)
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
    for (const rapidjson::Value& element : value.GetArray())
        elements.append(elements.empty() ? "" : ", ").append(shown(element));
    return '[' + elements + ']';
}

std::string quoted(const rapidjson::Value& value)
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
    void check(const rapidjson::Value& value, const Shape& shape, const std::string& path)
    {
        for (const std::string& rule : brokenRules(value, shape))
            add(quoted(value), path, rule);
        if (shape.hasNoLimits)
            return;
        if (shape.kind == Kind::Structure)
            checkMembers(value, shape, path);
        else if (shape.kind == Kind::List)
            checkElements(value, shape, path);
        else if (shape.kind == Kind::Map)
            checkEntries(value, shape, path);
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
    // Elements that are null are no values, so that nobody has to expect one: unlike a member, they cannot be left out.

    void add(const std::string& value, const std::string& path, const std::string& rule)
    {
        if (errors_.size() < MostErrors)
            errors_.push_back("Value " + value + " at '" + path + "' failed to satisfy constraint: " + rule);
    }

    void checkMembers(const rapidjson::Value& value, const Shape& shape, const std::string& path)
    {
        for (const Member& expected : shape.members) {
            const rapidjson::Value* const found = member(value, expected.name);
            if (found != nullptr)
                check(*found, *expected.shape, pathOf(path, expected.name));
            else if (expected.isRequired)
                add("null", pathOf(path, expected.name), NotNull);
        }
    }

    void checkElements(const rapidjson::Value& value, const Shape& shape, const std::string& path)
    {
        for (rapidjson::SizeType i = 0; i < value.Size(); ++i) {
            const std::string element = path + '.' + std::to_string(i + 1) + ".member";
            if (value[i].IsNull())
                add("null", element, NotNull);
            else if (!isScalar(*shape.element))
                check(value[i], *shape.element, element);
        }
        const auto isBroken = [&](const rapidjson::Value& element) {
            return !brokenRules(element, *shape.element).empty();
        };
        if (isScalar(*shape.element) && hasLimits(*shape.element) && std::any_of(value.Begin(), value.End(), isBroken))
            add(quoted(value), path, "Member must satisfy constraint: [" + allRules(*shape.element) + ']');
    }

    void checkEntries(const rapidjson::Value& value, const Shape& shape, const std::string& path)
    {
        if (hasLimits(*shape.key) && std::any_of(value.MemberBegin(), value.MemberEnd(), [&](const auto& entry) {
                return !brokenRules(entry.name, *shape.key).empty();
            }))
            add(quoted(value), path, "Map keys must satisfy constraint: [" + allRules(*shape.key) + ']');
        for (const auto& entry : value.GetObject()) {
            if (!entry.value.IsNull() && shape.element->hasNoLimits)
                continue;
            const std::string element = path + '.' + std::string(textOf(entry.name)) + ".member";
            if (entry.value.IsNull())
                add("null", element, NotNull);
            else
                check(entry.value, *shape.element, element);
        }
    }

    std::vector<std::string> errors_;
};

} // namespace

Failure Validation::checkLimits(const rapidjson::Value& request, const Shape& shape)
{
    LimitCheck check;
    check.check(request, shape, {});
    return check.failure();
}

} // namespace Api
