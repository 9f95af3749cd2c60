#include "api/limitrules.h"

#include "api/members.h"

#include <algorithm>

namespace Api {

namespace {

using Kind = Shape::Kind;

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
    const auto has = [&](std::string_view part) { return text.find(part) != std::string_view::npos; };
    return has("|") || (text.starts_with("arn:") && has(":table/"));
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

} // namespace

bool LimitRules::areThere(const Shape& shape)
{
    return shape.minimum != Shape::NoMinimum || shape.maximum != Shape::NoMaximum || !shape.pattern.empty() ||
           !shape.values.empty();
}

std::vector<std::string> LimitRules::brokenBy(const Items::JsonValue& value, const Shape& shape)
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

std::string LimitRules::all(const Shape& shape)
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

} // namespace Api
