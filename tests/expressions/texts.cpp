#include "expressions/texts.h"

#include "items/itemjson.h"
#include "items/json.h"

#include <stdexcept>

namespace Texts {

namespace {

using Expressions::Parameters;
using Expressions::RequestKind;

Items::JsonDocument parse(const std::string& json)
{
    Items::JsonDocument document;
    document.Parse(json.data(), json.size());
    if (document.HasParseError())
        throw std::invalid_argument("no JSON: " + json);
    return document;
}

std::string read(RequestKind kind, const std::string& request, Parameters* parameters)
{
    Items::JsonError error;
    return Expressions::readParameters(kind, parse(request), parameters, &error) ? std::string() : error.message;
}

std::string quoted(const std::string& text)
{
    Items::JsonText buffer;
    Items::JsonWriter(buffer).String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    return buffer.GetString();
}

/** A request with one expression; names and values that are {} are left out. */
std::string requestWith(const std::string& member, const std::string& expression, const std::string& values,
                        const std::string& names)
{
    return "{\"" + member + "\": " + quoted(expression) +
           (values == "{}" ? "" : ", \"ExpressionAttributeValues\": " + values) +
           (names == "{}" ? "" : ", \"ExpressionAttributeNames\": " + names) + "}";
}

} // namespace

Items::Item item(const std::string& json)
{
    Items::Item item;
    Items::JsonError error;
    if (!Items::readItem(parse(json), &item, &error))
        throw std::invalid_argument(error.message);
    return item;
}

std::string errorOf(RequestKind kind, const std::string& request)
{
    Parameters parameters;
    return read(kind, request, &parameters);
}

Parameters parametersOf(RequestKind kind, const std::string& request)
{
    Parameters parameters;
    const std::string error = read(kind, request, &parameters);
    if (!error.empty())
        throw std::invalid_argument(error);
    return parameters;
}

std::string conditionError(const std::string& expression, const std::string& values, const std::string& names)
{
    return errorOf(RequestKind::Put, requestWith("ConditionExpression", expression, values, names));
}

bool holds(const std::string& expression, const std::string& json, const std::string& values, const std::string& names)
{
    const Parameters parameters =
        parametersOf(RequestKind::Put, requestWith("ConditionExpression", expression, values, names));
    const Items::Item subject = item(json);
    return Expressions::holds(*parameters.condition, &subject);
}

std::string updateError(const std::string& expression, const std::string& values, const std::string& names)
{
    return errorOf(RequestKind::Update, requestWith("UpdateExpression", expression, values, names));
}

std::string updated(const std::string& expression, const std::string& json, const std::string& values,
                    const std::string& names)
{
    const Parameters parameters =
        parametersOf(RequestKind::Update, requestWith("UpdateExpression", expression, values, names));
    Items::Item after;
    std::string error;
    return Expressions::apply(*parameters.update, item(json), &after, &error) ? Items::jsonOf(after) : error;
}

std::string projectionError(const std::string& expression, const std::string& names)
{
    return errorOf(RequestKind::Get, requestWith("ProjectionExpression", expression, "{}", names));
}

std::string projected(const std::string& expression, const std::string& json, const std::string& names)
{
    const Parameters parameters =
        parametersOf(RequestKind::Get, requestWith("ProjectionExpression", expression, "{}", names));
    return Items::jsonOf(parameters.projection->partsOf(item(json)));
}

} // namespace Texts
