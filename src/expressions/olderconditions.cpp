#include "expressions/olderconditions.h"

#include "expressions/requestjson.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

namespace Expressions {

namespace {

using Items::AttributeValue;
using Items::JsonError;
using Kind = Condition::Kind;
using namespace RequestJson;

struct Operator {
    std::string_view name;
    Kind kind;
    bool isNegated; // the condition is Not of that kind
    std::size_t fewestValues;
    std::size_t mostValues;
    std::string_view types; // of the values, each between blanks; empty for all
    bool isForKeys;
};
constexpr std::size_t AnyNumber = static_cast<std::size_t>(-1);
constexpr std::string_view Ordered = " S N B ";
constexpr std::string_view Contained = " S N B BOOL NULL ";
constexpr std::array Operators = {
    Operator{"EQ", Kind::Equal, false, 1, 1, "", true},
    Operator{"NE", Kind::NotEqual, false, 1, 1, "", false},
    Operator{"LE", Kind::LessOrEqual, false, 1, 1, Ordered, true},
    Operator{"LT", Kind::Less, false, 1, 1, Ordered, true},
    Operator{"GE", Kind::GreaterOrEqual, false, 1, 1, Ordered, true},
    Operator{"GT", Kind::Greater, false, 1, 1, Ordered, true},
    Operator{"NOT_NULL", Kind::AttributeExists, false, 0, 0, "", false},
    Operator{"NULL", Kind::AttributeNotExists, false, 0, 0, "", false},
    Operator{"CONTAINS", Kind::Contains, false, 1, 1, Contained, false},
    Operator{"NOT_CONTAINS", Kind::Contains, true, 1, 1, Contained, false},
    Operator{"BEGINS_WITH", Kind::BeginsWith, false, 1, 1, " S B ", true},
    Operator{"IN", Kind::In, false, 1, AnyNumber, Ordered, false},
    Operator{"BETWEEN", Kind::Between, false, 2, 2, Ordered, true},
};

/** What one attribute is compared with. */
struct Comparison {
    const Operator* comparator = nullptr;
    std::vector<AttributeValue> values;
};

bool readOperator(const Items::JsonValue& json, const Operator** comparator, JsonError* error)
{
    if (!json.IsString())
        return failForShape(error, "ComparisonOperator");
    const auto* const found = std::ranges::find(Operators, textOf(json), &Operator::name);
    if (found == Operators.end())
        return fail(error, "Unsupported operator on ComparisonOperator: " + std::string(textOf(json)));
    *comparator = found;
    return true;
}

bool readList(const Items::JsonValue& json, std::vector<AttributeValue>* values, JsonError* error)
{
    if (!json.IsArray())
        return failForShape(error, "AttributeValueList");
    for (const Items::JsonValue& element : json.GetArray()) {
        values->emplace_back();
        if (!Items::readValue(element, &values->back(), error))
            return false;
    }
    return true;
}

bool checkComparison(const Comparison& comparison, JsonError* error)
{
    const Operator& comparator = *comparison.comparator;
    const std::string name(comparator.name);
    const auto& values = comparison.values;
    if (values.size() < comparator.fewestValues || values.size() > comparator.mostValues)
        return failForParameter(error, "Invalid number of argument(s) for the " + name + " ComparisonOperator");
    for (const AttributeValue& value : values) {
        const std::string type(Items::nameOf(value.type()));
        if (!comparator.types.empty() && comparator.types.find(" " + type + " ") == std::string_view::npos)
            return failForParameter(error, "ComparisonOperator " + name + " is not valid for " + type +
                                               " AttributeValue type");
        if (value.type() != values.front().type())
            return failForParameter(error, "AttributeValues inside AttributeValueList must all be of the same type");
    }
    if (comparator.kind == Kind::Between && Items::compare(values[0], values[1]) > 0)
        return fail(error, "The BETWEEN condition was provided a range where the lower bound is greater than the upper "
                           "bound");
    return true;
}

Condition conditionOf(const std::string& attribute, Comparison comparison)
{
    Condition condition;
    condition.kind = comparison.comparator->kind;
    condition.operands.push_back({Path(attribute), false});
    for (AttributeValue& value : comparison.values)
        condition.operands.push_back({shared(std::move(value)), false});
    if (!comparison.comparator->isNegated)
        return condition;
    Condition negation;
    negation.kind = Kind::Not;
    negation.conditions.push_back(std::move(condition));
    return negation;
}

/** Reads a Condition of the API's model, which has a ComparisonOperator. */
bool readComparison(const Items::JsonValue& json, Comparison* comparison, JsonError* error)
{
    const Items::JsonValue* comparator = json.IsObject() ? member(json, "ComparisonOperator") : nullptr;
    if (comparator == nullptr)
        return failForShape(error, "Condition");
    const Items::JsonValue* list = member(json, "AttributeValueList");
    return readOperator(*comparator, &comparison->comparator, error) &&
           (list == nullptr || readList(*list, &comparison->values, error)) && checkComparison(*comparison, error);
}

/** One attribute of Expected. */
class ExpectedReader {
public:
    ExpectedReader(std::string attribute, JsonError* error) : attribute_(std::move(attribute)), error_(error) {}

    bool read(const Items::JsonValue& json, Condition* condition)
    {
        if (!json.IsObject())
            return failForShape(error_, "Expected");
        value_ = member(json, "Value");
        exists_ = member(json, "Exists");
        list_ = member(json, "AttributeValueList");
        if (exists_ != nullptr && !exists_->IsBool())
            return failForShape(error_, "Exists");
        const Items::JsonValue* comparator = member(json, "ComparisonOperator");
        Comparison comparison;
        if (!(comparator != nullptr ? readWithOperator(*comparator, &comparison) : readWithout(&comparison)))
            return false;
        *condition = conditionOf(attribute_, std::move(comparison));
        return true;
    }

private:
    bool fail(const std::string& message)
    {
        return failForParameter(error_, message + " for Attribute: " + attribute_);
    }

    bool readWithOperator(const Items::JsonValue& json, Comparison* comparison)
    {
        if (exists_ != nullptr)
            return fail("Exists and ComparisonOperator cannot be used together");
        if (value_ != nullptr && list_ != nullptr)
            return fail("Value and AttributeValueList cannot be used together");
        if (!readOperator(json, &comparison->comparator, error_))
            return false;
        if (value_ == nullptr && list_ == nullptr && comparison->comparator->fewestValues > 0)
            return fail("Value or AttributeValueList must be used with ComparisonOperator: " +
                        std::string(comparison->comparator->name));
        return (value_ == nullptr || readValue(comparison)) &&
               (list_ == nullptr || readList(*list_, &comparison->values, error_)) &&
               checkComparison(*comparison, error_);
    }

    bool readWithout(Comparison* comparison)
    {
        if (list_ != nullptr)
            return fail("AttributeValueList can only be used with a ComparisonOperator");
        const bool exists = exists_ == nullptr || exists_->GetBool();
        if (exists && value_ == nullptr)
            return fail(std::string("Value must be provided when Exists is ") + (exists_ != nullptr ? "true" : "null"));
        if (!exists && value_ != nullptr)
            return fail("Value cannot be used when Exists is false");
        const std::string_view comparator = exists ? "EQ" : "NULL";
        comparison->comparator = std::ranges::find(Operators, comparator, &Operator::name);
        return !exists || readValue(comparison);
    }

    bool readValue(Comparison* comparison)
    {
        comparison->values.emplace_back();
        return Items::readValue(*value_, &comparison->values.back(), error_);
    }

    std::string attribute_;
    JsonError* const error_;
    const Items::JsonValue* value_ = nullptr;
    const Items::JsonValue* exists_ = nullptr;
    const Items::JsonValue* list_ = nullptr;
};

} // namespace

bool readExpected(const Items::JsonValue& json, std::vector<Condition>* conditions, JsonError* error)
{
    if (!json.IsObject())
        return failForShape(error, "Expected");
    for (const auto& attribute : json.GetObject()) {
        conditions->emplace_back();
        if (!ExpectedReader(std::string(textOf(attribute.name)), error).read(attribute.value, &conditions->back()))
            return false;
    }
    return true;
}

bool readFilter(const Items::JsonValue& json, std::vector<Condition>* conditions, JsonError* error)
{
    if (!json.IsObject())
        return failForShape(error, "Filter");
    for (const auto& attribute : json.GetObject()) {
        Comparison comparison;
        if (!readComparison(attribute.value, &comparison, error))
            return false;
        conditions->push_back(conditionOf(std::string(textOf(attribute.name)), std::move(comparison)));
    }
    return true;
}

bool readKeyConditions(const Items::JsonValue& json, std::vector<KeyTest>* tests, JsonError* error)
{
    if (!json.IsObject())
        return failForShape(error, "KeyConditions");
    for (const auto& attribute : json.GetObject()) {
        Comparison comparison;
        if (!readComparison(attribute.value, &comparison, error))
            return false;
        if (!comparison.comparator->isForKeys)
            return fail(error, "Attempted conditional constraint is not an indexable operation");
        tests->push_back(
            {std::string(textOf(attribute.name)), comparison.comparator->kind, std::move(comparison.values)});
    }
    return true;
}

} // namespace Expressions
