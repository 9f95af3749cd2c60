#include "records/conditions.h"

#include "records/items.h"
#include "records/recordlines.h"
#include "records/requeststatus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(ParseCondition, KnowsTheOperatorsAndTheirDirections)
{
    struct Case {
        QByteArray name;
        QList<QByteArray> values;
        ComparisonOperator comparison;
        bool forwardAfterTrue;
        bool forwardAfterFalse;
    };
    const Case cases[] = {
        {"EQ", {"v"}, ComparisonOperator::Eq, true, true},
        {"LE", {"v"}, ComparisonOperator::Le, false, false},
        {"LT", {"v"}, ComparisonOperator::Lt, false, false},
        {"GE", {"v"}, ComparisonOperator::Ge, true, true},
        {"GT", {"v"}, ComparisonOperator::Gt, true, true},
        {"BEGINS_WITH", {"v"}, ComparisonOperator::BeginsWith, true, true},
        {"BETWEEN", {"v", "w"}, ComparisonOperator::Between, true, true},
        // Everything else is unknown: the API's other operators, other spellings, blanks, the empty string.
        {"NE", {"v"}, ComparisonOperator::Unknown, true, false},
        {"IN", {"v"}, ComparisonOperator::Unknown, true, false},
        {"NULL", {"v"}, ComparisonOperator::Unknown, true, false},
        {"NOT_NULL", {"v"}, ComparisonOperator::Unknown, true, false},
        {"CONTAINS", {"v"}, ComparisonOperator::Unknown, true, false},
        {"NOT_CONTAINS", {"v"}, ComparisonOperator::Unknown, true, false},
        {"eq", {"v"}, ComparisonOperator::Unknown, true, false},
        {"Between", {"v"}, ComparisonOperator::Unknown, true, false},
        {" EQ", {"v"}, ComparisonOperator::Unknown, true, false},
        {"EQ ", {"v"}, ComparisonOperator::Unknown, true, false},
        {QByteArray("EQ\0", 3), {"v"}, ComparisonOperator::Unknown, true, false},
        {"", {"v"}, ComparisonOperator::Unknown, true, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name.toStdString());
        for (const bool before : {true, false}) {
            LogCapture log;
            KeyBounds parsed;
            bool forward = before;
            EXPECT_EQ(Records::parseCondition(condition(c.name, c.values), &parsed, &forward), 0);
            EXPECT_EQ(parsed.comparison, c.comparison);
            EXPECT_EQ(parsed.low, c.values.first());
            EXPECT_EQ(parsed.high, c.values.size() == 2 ? c.values.last() : QByteArray());
            EXPECT_EQ(forward, before ? c.forwardAfterTrue : c.forwardAfterFalse);
            EXPECT_THAT(recordLines(log), IsEmpty());
        }
    }
}

TEST(ParseCondition, WithoutAnOperatorChangesNothing)
{
    for (const QByteArray text : {"{}", R"({"AttributeValueList":[{"S":"v"}]})", R"({"AttributeValueList":7})",
                                  R"({"comparisonoperator":"EQ","AttributeValueList":[{"S":"v"}]})"}) {
        SCOPED_TRACE(text.toStdString());
        for (const bool before : {true, false}) {
            LogCapture log;
            KeyBounds parsed{ComparisonOperator::Gt, "low", "high"};
            bool forward = before;
            EXPECT_EQ(Records::parseCondition(json(text), &parsed, &forward), 0);
            EXPECT_EQ(parsed.comparison, ComparisonOperator::Gt);
            EXPECT_EQ(parsed.low, "low");
            EXPECT_EQ(parsed.high, "high");
            EXPECT_EQ(forward, before);
            EXPECT_THAT(recordLines(log), IsEmpty());
        }
    }
}

TEST(ParseCondition, RefusesMalformedConditions)
{
    struct Case {
        QByteArray condition;
        int result;
        std::string line;
    };
    const std::string missing = "attr value list missing";
    const std::string count = "incomplete value list count ";
    const std::string wrong = "wrong key";
    const Case cases[] = {
        {R"({"ComparisonOperator":"EQ"})", 2, missing},
        {R"({"ComparisonOperator":"BETWEEN"})", 2, missing},
        {R"({"ComparisonOperator":"NOT_NULL"})", 2, missing},
        {R"({"ComparisonOperator":null})", 2, missing},
        {R"({"ComparisonOperator":"EQ","attributevaluelist":[{"S":"v"}]})", 2, missing},

        {R"({"ComparisonOperator":"EQ","AttributeValueList":[]})", 2, count + "0"},
        {R"({"ComparisonOperator":"EQ","AttributeValueList":[{"S":"v"},{"S":"w"}]})", 2, count + "2"},
        {R"({"ComparisonOperator":"NE","AttributeValueList":[]})", 2, count + "0"},
        {R"({"ComparisonOperator":"IN","AttributeValueList":[{"S":"v"},{"S":"w"},{"S":"x"}]})", 2, count + "3"},
        {R"({"ComparisonOperator":"BETWEEN","AttributeValueList":[]})", 2, count + "0"},
        {R"({"ComparisonOperator":"BETWEEN","AttributeValueList":[{"S":"v"}]})", 2, count + "1"},
        {R"({"ComparisonOperator":"BETWEEN","AttributeValueList":[{"S":"v"},{"S":"w"},{"S":"x"}]})", 2, count + "3"},
        {R"({"ComparisonOperator":"EQ","AttributeValueList":{"S":"v"}})", 2, count + "0"},
        {R"({"ComparisonOperator":"EQ","AttributeValueList":"v"})", 2, count + "0"},
        {R"({"ComparisonOperator":"EQ","AttributeValueList":null})", 2, count + "0"},
        {R"({"ComparisonOperator":"EQ","AttributeValueList":1})", 2, count + "0"},

        {R"({"ComparisonOperator":"EQ","AttributeValueList":[{"N":"5"}]})", 2, wrong},
        {R"({"ComparisonOperator":"EQ","AttributeValueList":[{"s":"v"}]})", 2, wrong},
        {R"({"ComparisonOperator":"EQ","AttributeValueList":[{}]})", 2, wrong},
        {R"({"ComparisonOperator":"EQ","AttributeValueList":["v"]})", 2, wrong},
        {R"({"ComparisonOperator":"EQ","AttributeValueList":[null]})", 2, wrong},
        {R"({"ComparisonOperator":"NE","AttributeValueList":[{"N":"5"}]})", 2, wrong},
        {R"({"ComparisonOperator":"BETWEEN","AttributeValueList":[{"S":"v"},{"N":"5"}]})", 2, wrong},
        {R"({"ComparisonOperator":"BETWEEN","AttributeValueList":[{"N":"5"},{"S":"v"}]})", 2, wrong},
        {R"({"ComparisonOperator":"BETWEEN","AttributeValueList":[{"B":"5"},{"N":"5"}]})", 2, wrong},

        {R"({"ComparisonOperator":"EQ","AttributeValueList":[{"S":"\u0100"}]})", 4,
         "key holds a character outside Latin-1"},
        {R"({"ComparisonOperator":"BETWEEN","AttributeValueList":[{"S":"a"},{"S":"\u20ac"}]})", 4,
         "key holds a character outside Latin-1"},
        {R"({"ComparisonOperator":"BETWEEN","AttributeValueList":[{"S":"\u20ac"},{"S":"a"}]})", 4,
         "key holds a character outside Latin-1"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.condition.toStdString());
        for (const bool before : {true, false}) {
            LogCapture log;
            KeyBounds parsed;
            bool forward = before;
            EXPECT_EQ(Records::parseCondition(json(c.condition), &parsed, &forward), c.result);
            EXPECT_EQ(parsed.comparison, ComparisonOperator::None);
            EXPECT_EQ(forward, before);
            EXPECT_THAT(recordLines(log), ElementsAre("[ERROR] bdbrequest # " + c.line));
        }
    }
}

TEST(ParseCondition, TakesTheBytesOfItsValues)
{
    KeyBounds parsed;
    bool forward = true;
    ASSERT_EQ(Records::parseCondition(
                  json(R"({"ComparisonOperator":"BETWEEN","AttributeValueList":[{"S":""},{"S":"a\u0000\u00ff"}]})"),
                  &parsed, &forward),
              0);
    EXPECT_EQ(parsed.low, QByteArray());
    EXPECT_EQ(parsed.high, QByteArray("a\0\xff", 3));

    // Values of other types are converted to strings; members other than "S" are ignored.
    ASSERT_EQ(Records::parseCondition(json(R"({"ComparisonOperator":"EQ","AttributeValueList":[{"N":"1","S":5}]})"),
                                      &parsed, &forward),
              0);
    EXPECT_EQ(parsed.low, "5");
}

} // namespace
