// Checks of JSON types.
#include "api/members.h"
#include "api/validation.h"

#include <string>
#include <utility>

namespace Api {

namespace {

using Kind = Shape::Kind;

/** Deeper values are not checked here: the code that reads them refuses them, whatever they are. */
constexpr int MostLevels = 100;

constexpr const char* Package = "com.amazonaws.dynamodb.v20120810.";

/** The class that the API's messages name for values of the kind. */
std::string className(const Shape& shape)
{
    switch (shape.kind) {
    case Kind::String:
        return "java.lang.String";
    case Kind::Integer:
        return "java.lang.Integer";
    case Kind::Long:
        return "java.lang.Long";
    case Kind::Boolean:
        return "java.lang.Boolean";
    case Kind::Blob:
        return "java.nio.ByteBuffer";
    case Kind::Structure:
        return std::string(Package).append(shape.name);
    case Kind::List:
    case Kind::Map:
        break;
    }
    return {};
}

/** What the API calls a scalar's type; empty for lists and objects. */
std::string_view tokenName(const Items::JsonValue& value)
{
    switch (value.GetType()) {
    case rapidjson::kTrueType:
        return "TRUE_VALUE";
    case rapidjson::kFalseType:
        return "FALSE_VALUE";
    case rapidjson::kStringType:
        return "STRING_VALUE";
    case rapidjson::kNumberType:
        return value.IsDouble() ? "DECIMAL_VALUE" : "NUMBER_VALUE";
    default:
        return {};
    }
}

std::string unconvertible(const Items::JsonValue& value, const char* type)
{
    return std::string(tokenName(value)) + " cannot be converted to " + type;
}

std::string mapClass(const Shape& shape)
{
    const bool isOurs = shape.name.find('.') == std::string_view::npos && shape.name != "String";
    return "Unrecognized collection type java.util.Map<java.lang.String, " +
           (isOurs                   ? std::string(Package)
            : shape.name == "String" ? std::string("java.lang.")
                                     : std::string())
               .append(shape.name) +
           '>';
}

/** The API's message for a value that is not of the shape's type. */
std::string complaint(const Items::JsonValue& value, const Shape& shape)
{
    if (value.IsArray())
        return shape.kind == Kind::Map ? mapClass(shape) : "Unrecognized collection type class " + className(shape);
    if (value.IsObject())
        return "Start of structure or map found where not expected";
    switch (shape.kind) {
    case Kind::String:
        return unconvertible(value, "String");
    case Kind::Integer:
        return unconvertible(value, "Integer");
    case Kind::Long:
        return unconvertible(value, "Long");
    case Kind::Boolean:
        return value.IsString() ? "Unexpected token received from parser" : unconvertible(value, "Boolean");
    case Kind::Blob:
        return "only base-64-encoded strings are convertible to bytes";
    case Kind::Structure:
    case Kind::List:
    case Kind::Map:
        break;
    }
    return "Unexpected field type";
}

bool isOfType(const Items::JsonValue& value, Kind kind)
{
    switch (kind) {
    case Kind::String:
    case Kind::Blob:
        return value.IsString();
    case Kind::Integer:
    case Kind::Long:
        return value.IsNumber();
    case Kind::Boolean:
        return value.IsBool();
    case Kind::List:
        return value.IsArray();
    case Kind::Structure:
    case Kind::Map:
        break;
    }
    return value.IsObject();
}

const Shape* shapeOf(const Shape& structure, std::string_view name)
{
    for (const Member& known : structure.members) {
        if (known.name == name)
            return known.shape;
    }
    return nullptr;
}

Failure check(const Items::JsonValue& value, const Shape& shape, int levels)
{
    if (!isOfType(value, shape.kind))
        return Errors::serialization(complaint(value, shape));
    if (levels == MostLevels)
        return std::nullopt;
    if (shape.kind == Kind::List) {
        for (const Items::JsonValue& element : value.GetArray()) {
            if (element.IsNull())
                continue;
            if (Failure failure = check(element, *shape.element, levels + 1))
                return failure;
        }
    } else if (value.IsObject()) {
        for (const auto& given : value.GetObject()) {
            const Shape* const inner = shape.kind == Kind::Map ? shape.element : shapeOf(shape, textOf(given.name));
            if (inner == nullptr || given.value.IsNull())
                continue;
            if (Failure failure = check(given.value, *inner, levels + 1))
                return failure;
        }
    }
    return std::nullopt;
}

} // namespace

Failure Validation::checkTypes(const Items::JsonValue& request, const Shape& shape)
{
    return check(request, shape, 0);
}

} // namespace Api
