#include "expressions/keycondition.h"

#include <algorithm>
#include <utility>

namespace Expressions {

namespace {

using Kind = Condition::Kind;

constexpr std::size_t MostTests = 2;
constexpr const char* WrongCount = "Conditions can be of length 1 or 2 only";

bool fail(std::string* error, std::string message)
{
    *error = std::move(message);
    return false;
}

bool isKeyTest(Kind kind)
{
    return kind == Kind::Equal || kind == Kind::Less || kind == Kind::LessOrEqual || kind == Kind::Greater ||
           kind == Kind::GreaterOrEqual || kind == Kind::Between || kind == Kind::BeginsWith;
}

/** The operator for operands that have changed places. */
Kind mirrored(Kind kind)
{
    switch (kind) {
    case Kind::Less:
        return Kind::Greater;
    case Kind::LessOrEqual:
        return Kind::GreaterOrEqual;
    case Kind::Greater:
        return Kind::Less;
    case Kind::GreaterOrEqual:
        return Kind::LessOrEqual;
    default:
        return kind;
    }
}

bool testOf(const Condition& condition, KeyTest* test, std::string* error)
{
    const Path* path = nullptr;
    for (const Operand& operand : condition.operands) {
        if (operand.isSize)
            return fail(error, "KeyConditionExpressions cannot contain nested operations");
        if (operand.path() == nullptr) {
            test->values.push_back(*operand.value());
            continue;
        }
        if (path != nullptr)
            return fail(error, "Invalid condition in KeyConditionExpression: Multiple attribute names used in one "
                               "condition");
        path = operand.path();
    }
    if (path == nullptr)
        return fail(error, "Invalid condition in KeyConditionExpression: No key attribute specified");
    if (path->isNested())
        return fail(error, "KeyConditionExpressions cannot have conditions on nested attributes");
    const bool isFirst = path == condition.operands.front().path();
    if (!isFirst && (condition.kind == Kind::Between || condition.kind == Kind::BeginsWith))
        return fail(error, "Invalid condition in KeyConditionExpression: " + std::string(nameOf(condition.kind)) +
                               " operator must have the key attribute as its first operand");
    test->attribute = path->attribute();
    test->kind = isFirst ? condition.kind : mirrored(condition.kind);
    return true;
}

/** Whether the values of a test are of the key's type. */
bool hasTypeOf(const KeySchema::Attribute& key, const KeyTest& test)
{
    return std::all_of(test.values.begin(), test.values.end(),
                       [&](const Items::AttributeValue& value) { return value.type() == key.type; });
}

} // namespace

bool keyTestsOf(const Condition& condition, std::vector<KeyTest>* tests, std::string* error)
{
    if (condition.kind == Kind::And) {
        return std::all_of(condition.conditions.begin(), condition.conditions.end(),
                           [&](const Condition& part) { return keyTestsOf(part, tests, error); });
    }
    if (!isKeyTest(condition.kind))
        return fail(error, "Invalid operator used in KeyConditionExpression: " + std::string(nameOf(condition.kind)));
    KeyTest test;
    if (!testOf(condition, &test, error))
        return false;
    if (std::any_of(tests->begin(), tests->end(),
                    [&](const KeyTest& other) { return other.attribute == test.attribute; }))
        return fail(error, "KeyConditionExpressions must only contain one condition per key");
    if (tests->size() == MostTests)
        return fail(error, WrongCount);
    tests->push_back(std::move(test));
    return true;
}

bool bindKeyTests(std::vector<KeyTest> tests, const KeySchema& schema, KeyCondition* condition, std::string* error)
{
    if (tests.empty() || tests.size() > MostTests)
        return fail(error, WrongCount);
    const auto takeTest = [&](const std::string& name) {
        const auto found = std::ranges::find(tests, name, &KeyTest::attribute);
        std::optional<KeyTest> test;
        if (found != tests.end()) {
            test = std::move(*found);
            tests.erase(found);
        }
        return test;
    };
    std::optional<KeyTest> hash = takeTest(schema.hash.name);
    if (!hash)
        return fail(error, "Query condition missed key schema element: " + schema.hash.name);
    if (!tests.empty() && !schema.range)
        return fail(error, "Query key condition not supported");
    std::optional<KeyTest> range = tests.empty() ? std::nullopt : takeTest(schema.range->name);
    if (!tests.empty())
        return fail(error, "Query condition missed key schema element: " + schema.range->name);
    if (!hasTypeOf(schema.hash, *hash) || (range && !hasTypeOf(*schema.range, *range)))
        return fail(error, "One or more parameter values were invalid: Condition parameter type does not match schema "
                           "type");
    if (hash->kind != Kind::Equal)
        return fail(error, "Query key condition not supported");
    condition->hash = std::move(hash->values.front());
    condition->range = std::move(range);
    return true;
}

std::string filterError(const Condition& filter, const KeySchema& schema, std::string_view member)
{
    const auto attributes = attributesOf(filter);
    const std::string subject = member == "FilterExpression" ? "Filter Expression" : std::string(member);
    const auto messageFor = [&](const std::string& name) {
        return subject + " can only contain non-primary key attributes: Primary key attribute: " + name;
    };
    if (attributes.contains(schema.hash.name))
        return messageFor(schema.hash.name);
    if (schema.range && attributes.contains(schema.range->name))
        return messageFor(schema.range->name);
    return {};
}

} // namespace Expressions
