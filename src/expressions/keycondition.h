#ifndef QUORVA_EXPRESSIONS_KEYCONDITION_H
#define QUORVA_EXPRESSIONS_KEYCONDITION_H

#include "expressions/condition.h"

#include "items/attributevalue.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Expressions {

/** The test that a Query makes on one attribute: Equal, Less to GreaterOrEqual, BeginsWith, or Between, which has two
 * values. */
struct KeyTest {
    std::string attribute;
    Condition::Kind kind = Condition::Kind::Equal;
    std::vector<Items::AttributeValue> values;
};

/** The key attributes of a table or index. */
struct KeySchema {
    struct Attribute {
        std::string name;
        Items::AttributeValue::Type type = Items::AttributeValue::Type::String; // or Number or Binary
    };
    Attribute hash;
    std::optional<Attribute> range;
};

/** The items of a Query: those with the hash key and, if there is a test, a range key that passes it. */
struct KeyCondition {
    Items::AttributeValue hash;
    std::optional<KeyTest> range;
};

/**
 * The tests in a KeyConditionExpression that has been parsed. False, with the API's message in `error`, if it is
 * anything but one test, or two joined by AND, of one attribute each.
 */
[[nodiscard]] bool keyTestsOf(const Condition& condition, std::vector<KeyTest>* tests, std::string* error);

/**
 * Assigns the tests to the keys of a table. False, with the API's message in `error`, if the hash key is not tested for
 * equality, an attribute other than the keys is tested, or a value does not have the key's type.
 */
[[nodiscard]] bool bindKeyTests(std::vector<KeyTest> tests, const KeySchema& schema, KeyCondition* condition,
                                std::string* error);

/**
 * The API's message for a filter of a Query on a key attribute, empty if it uses none. `member` is that of the request,
 * "FilterExpression" or "QueryFilter".
 */
std::string filterError(const Condition& filter, const KeySchema& schema, std::string_view member);

} // namespace Expressions

#endif
