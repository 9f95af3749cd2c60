#include "expressions/placeholders.h"

#include "expressions/lexer.h"
#include "expressions/requestjson.h"

#include "items/itemsize.h"

namespace Expressions {

namespace {

constexpr std::size_t MostPlaceholderLength = 255;
constexpr std::size_t MostNameBytes = 65535;

using namespace RequestJson;

bool failForForm(Items::JsonError* error, std::string message)
{
    *error = {Items::JsonError::Kind::Serialization, std::move(message)};
    return false;
}

/** Whether the text is one placeholder as an expression can write it. */
bool isPlaceholder(std::string_view text, Token::Kind kind)
{
    const Tokens tokens(text);
    return tokens.peek().kind == kind && tokens.peek().text.size() == text.size();
}

/** Checks the object `member` of a request and the placeholders in it. */
bool checkPlaceholders(const Items::JsonValue& json, const std::string& member, Token::Kind kind,
                       Items::JsonError* error)
{
    if (!json.IsObject())
        return failForForm(error, member + " must be an object");
    if (json.ObjectEmpty())
        return fail(error, member + " must not be empty");
    for (const auto& definition : json.GetObject()) {
        const std::string_view placeholder = textOf(definition.name);
        if (!isPlaceholder(placeholder, kind))
            return fail(error,
                        member + " contains invalid key: Syntax error; key: \"" + std::string(placeholder) + "\"");
        if (placeholder.size() > MostPlaceholderLength)
            return fail(error, member +
                                   " contains invalid key: The length of the key has exceeded the maximum allowed size "
                                   "of 255 bytes; key: \"" +
                                   std::string(placeholder) + "\"");
    }
    return true;
}

} // namespace

bool Placeholders::readNames(const Items::JsonValue* json, Items::JsonError* error)
{
    static const std::string Member = "ExpressionAttributeNames";
    if (json == nullptr)
        return true;
    if (!checkPlaceholders(*json, Member, Token::Kind::NamePlaceholder, error))
        return false;
    for (const auto& definition : json->GetObject()) {
        const std::string placeholder(textOf(definition.name));
        if (!definition.value.IsString())
            return failForForm(error, Member + " must contain strings; key: " + placeholder);
        const std::string_view attribute = textOf(definition.value);
        if (attribute.empty() || attribute.size() > MostNameBytes)
            return fail(error,
                        Member + " contains invalid value: " +
                            (attribute.empty() ? "Empty attribute name" : "Attribute name is longer than 65535 bytes") +
                            " for key " + placeholder);
        defineName(placeholder, std::string(attribute));
    }
    return true;
}

bool Placeholders::readValues(const Items::JsonValue* json, Items::JsonError* error)
{
    static const std::string Member = "ExpressionAttributeValues";
    if (json == nullptr)
        return true;
    if (!checkPlaceholders(*json, Member, Token::Kind::ValuePlaceholder, error))
        return false;
    for (const auto& definition : json->GetObject()) {
        const std::string placeholder(textOf(definition.name));
        Items::AttributeValue defined;
        if (!Items::readValue(definition.value, &defined, error)) {
            if (error->kind == Items::JsonError::Kind::Validation)
                error->message = Member + " contains invalid value: " + error->message + " for key " + placeholder;
            return false;
        }
        defineValue(placeholder, std::move(defined));
    }
    return true;
}

std::size_t Placeholders::size() const
{
    std::size_t bytes = 0;
    for (const auto& [placeholder, definition] : names_)
        bytes += definition.content.size();
    for (const auto& [placeholder, definition] : values_)
        bytes += Items::sizeOf(*definition.content);
    return bytes;
}

template <typename Content>
const Content* Placeholders::use(Definitions<Content>* definitions, std::string_view placeholder)
{
    const auto found = definitions->find(placeholder);
    if (found == definitions->end())
        return nullptr;
    found->second.isUsed = true;
    return &found->second.content;
}

const std::string* Placeholders::name(std::string_view placeholder)
{
    return use(&names_, placeholder);
}

SharedValue Placeholders::value(std::string_view placeholder)
{
    const SharedValue* value = use(&values_, placeholder);
    return value != nullptr ? *value : nullptr;
}

template <typename Content> std::string Placeholders::unusedIn(const Definitions<Content>& definitions)
{
    std::string keys;
    for (const auto& [placeholder, definition] : definitions) {
        if (!definition.isUsed)
            keys += (keys.empty() ? "" : ", ") + placeholder;
    }
    return keys;
}

std::string Placeholders::unusedError() const
{
    const std::string names = unusedIn(names_);
    if (!names.empty())
        return "Value provided in ExpressionAttributeNames unused in expressions: keys: {" + names + "}";
    const std::string values = unusedIn(values_);
    return values.empty() ? values
                          : "Value provided in ExpressionAttributeValues unused in expressions: keys: {" + values + "}";
}

} // namespace Expressions
