#ifndef QUORVA_EXPRESSIONS_KEYCONDITION_H
#define QUORVA_EXPRESSIONS_KEYCONDITION_H

#include "expressions/condition.h"

#include "items/attributevalue.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Expressions {

/** What a Query asks of one attribute: Equal, Less to GreaterOrEqual, BeginsWith, or Between, which has two values. */
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

/** A Query's items: those of a hash key, with a range key that passes the test if there is one. */
struct KeyCondition {
    Items::AttributeValue hash;
    std::optional<KeyTest> range;
};

/**
 * The tests in a KeyConditionExpression that has been parsed. False, with the API's message in `error`, when it is more
 * than a test or two, joined by AND, each of one attribute.
 */
[[nodiscard]] bool keyTestsOf(const Condition& condition, std::vector<KeyTest>* tests, std::string* error);

/**
 * The tests as those of the keys of a table. False, with the API's message in `error`, when the hash key is not tested
 * for equality, another attribute than the keys is tested, or a value is of another type than the key.
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
