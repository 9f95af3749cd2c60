#include "records/attributevalues.h"
#include "records/items.h"
#include "records/recordlines.h"
#include "records/requeststatus.h"

#include <gtest/gtest.h>

namespace {

struct ExpectedCase {
    QByteArray item;
    QByteArray expected;
    int result;
};

void checkAll(std::initializer_list<ExpectedCase> cases)
{
    for (const ExpectedCase& c : cases) {
        const LogCapture log;
        EXPECT_EQ(Records::checkExpected(json(c.item), json(c.expected)), c.result)
            << c.item.toStdString() << " against " << c.expected.toStdString();
        EXPECT_EQ(recordLines(log), c.result == StatusInternalError ? AttrMissing : Lines())
            << c.item.toStdString() << " against " << c.expected.toStdString();
    }
}

TEST(CheckExpected, HoldsWithoutConditions)
{
    checkAll({{"{}", "{}", 0}, {R"({"a":{"S":"x"}})", "{}", 0}});
}

TEST(CheckExpected, ExistsFalseFailsOnAnAttributeThatIsThere)
{
    checkAll({
        {R"({"a":{"S":"x"}})", R"({"a":{"Exists":false}})", 1},
        {R"({"a":null})", R"({"a":{"Exists":false}})", 1},
        {R"({"b":{"S":"x"}})", R"({"a":{"Exists":false}})", 0},
        {"{}", R"({"a":{"Exists":false}})", 0},
    });
}

TEST(CheckExpected, ExistsTrueNeverFails)
{
    checkAll({
        {R"({"a":{"S":"x"}})", R"({"a":{"Exists":true}})", 0},
        {"{}", R"({"a":{"Exists":true}})", 0},
        // A "Value" in addition is ignored.
        {R"({"a":{"S":"x"}})", R"({"a":{"Exists":true,"Value":{"S":"other"}}})", 0},
        {"{}", R"({"a":{"Exists":true,"Value":{"S":"other"}}})", 0},
    });
}

TEST(CheckExpected, ExistsIsReadAsABooleanWhateverItsType)
{
    const QByteArray item = R"({"a":{"S":"x"}})";
    checkAll({
        {item, R"({"a":{"Exists":"false"}})", 1},
        {item, R"({"a":{"Exists":"true"}})", 0},
        {item, R"({"a":{"Exists":""}})", 1},
        {item, R"({"a":{"Exists":"0"}})", 1},
        {item, R"({"a":{"Exists":"no"}})", 0},
        {item, R"({"a":{"Exists":0}})", 1},
        {item, R"({"a":{"Exists":1}})", 0},
        {item, R"({"a":{"Exists":null}})", 1},
        {item, R"({"a":{"Exists":{}}})", 1},
    });
}

TEST(CheckExpected, AConditionWithNeitherExistsNorValueIsMalformed)
{
    checkAll({
        {"{}", R"({"a":{}})", 2},
        {R"({"a":{"S":"x"}})", R"({"a":{}})", 2},
        {R"({"a":{"S":"x"}})", R"({"a":{"value":{"S":"x"}}})", 2},
        {R"({"a":{"S":"x"}})", R"({"a":null})", 2},
        {R"({"a":{"S":"x"}})", R"({"a":"x"})", 2},
    });
}

TEST(CheckExpected, AValueFailsOnAMissingAttribute)
{
    checkAll({
        {"{}", R"({"a":{"Value":{"S":"x"}}})", 1},
        {R"({"A":{"S":"x"}})", R"({"a":{"Value":{"S":"x"}}})", 1},
        {"{}", R"({"a":{"Value":{"S":""}}})", 1},
    });
}

TEST(CheckExpected, StringsAreComparedByteForByte)
{
    checkAll({
        {R"({"a":{"S":"x"}})", R"({"a":{"Value":{"S":"x"}}})", 0},
        {R"({"a":{"S":"x"}})", R"({"a":{"Value":{"S":"X"}}})", 1},
        {R"({"a":{"S":"x"}})", R"({"a":{"Value":{"S":"xy"}}})", 1},
        {R"({"a":{"S":"xy"}})", R"({"a":{"Value":{"S":"x"}}})", 1},
        {R"({"a":{"S":"x "}})", R"({"a":{"Value":{"S":"x"}}})", 1},
        {R"({"a":{"S":""}})", R"({"a":{"Value":{"S":""}}})", 0},
        {R"({"a":{"S":"10"}})", R"({"a":{"Value":{"S":"010"}}})", 1},
        {R"({"a":{"S":"\u00e9"}})", R"({"a":{"Value":{"S":"\u00e9"}}})", 0},
        {R"({"a":{"S":"\u00e9"}})", R"({"a":{"Value":{"S":"\u00e8"}}})", 1},
    });
}

TEST(CheckExpected, BytesAfterAZeroByteCount)
{
    checkAll({
        {R"({"a":{"S":"x\u0000y"}})", R"({"a":{"Value":{"S":"x\u0000y"}}})", 0},
        {R"({"a":{"S":"x\u0000y"}})", R"({"a":{"Value":{"S":"x\u0000z"}}})", 1},
        {R"({"a":{"S":"x\u0000"}})", R"({"a":{"Value":{"S":"x"}}})", 1},
    });
}

TEST(CheckExpected, TextsThatLatin1LacksAreNotConfused)
{
    checkAll({
        {R"({"a":{"S":"\u20ac"}})", R"({"a":{"Value":{"S":"\u20ac"}}})", 0},
        {R"({"a":{"S":"\u20ac"}})", R"({"a":{"Value":{"S":"\u4e2d"}}})", 1},
        {R"({"a":{"S":"\u20ac"}})", R"({"a":{"Value":{"S":"?"}}})", 1},
        {R"({"a":{"S":"?"}})", R"({"a":{"Value":{"S":"\u20ac"}}})", 1},
        {R"({"a":{"S":"\u0141"}})", R"({"a":{"Value":{"S":"A"}}})", 1}, // the same low byte
        // The same letter, precomposed and decomposed: different texts.
        {R"({"a":{"S":"\u00e9"}})", R"({"a":{"Value":{"S":"e\u0301"}}})", 1},
        {R"({"a":{"S":"\ud83d\ude00"}})", R"({"a":{"Value":{"S":"\ud83d\ude00"}}})", 0},
        {R"({"a":{"S":"\ud83d\ude00"}})", R"({"a":{"Value":{"S":"\ud83d\ude01"}}})", 1},
    });
}

TEST(CheckExpected, NumbersAreComparedAsIntegers)
{
    checkAll({
        {R"({"a":{"N":"010"}})", R"({"a":{"Value":{"N":"10"}}})", 0},
        {R"({"a":{"N":"10"}})", R"({"a":{"Value":{"N":"11"}}})", 1},
        {R"({"a":{"N":"-7"}})", R"({"a":{"Value":{"N":"-7"}}})", 0},
        {R"({"a":{"N":"-0"}})", R"({"a":{"Value":{"N":"0"}}})", 0},
        {R"({"a":{"N":" 10 "}})", R"({"a":{"Value":{"N":"+10"}}})", 0},
        {R"({"a":{"N":10}})", R"({"a":{"Value":{"N":"10"}}})", 0},
        {R"({"a":{"N":"9223372036854775807"}})", R"({"a":{"Value":{"N":"9223372036854775807"}}})", 0},
        {R"({"a":{"N":"9223372036854775807"}})", R"({"a":{"Value":{"N":"9223372036854775806"}}})", 1},
        {R"({"a":{"N":"-9223372036854775808"}})", R"({"a":{"Value":{"N":"-9223372036854775808"}}})", 0},
    });
}

TEST(CheckExpected, ATextThatIsNoIntegerReadsAsZero)
{
    checkAll({
        {R"({"a":{"N":"1.5"}})", R"({"a":{"Value":{"N":"2.5"}}})", 0},
        {R"({"a":{"N":"1.5"}})", R"({"a":{"Value":{"N":"0"}}})", 0},
        {R"({"a":{"N":"abc"}})", R"({"a":{"Value":{"N":""}}})", 0},
        {R"({"a":{"N":"1e3"}})", R"({"a":{"Value":{"N":"1000"}}})", 1},
        {R"({"a":{"N":"0x10"}})", R"({"a":{"Value":{"N":"16"}}})", 1},
        {R"({"a":{"N":"12 34"}})", R"({"a":{"Value":{"N":"0"}}})", 0},
        {R"({"a":{"N":"1,000"}})", R"({"a":{"Value":{"N":"0"}}})", 0},
        {R"({"a":{"N":"9223372036854775808"}})", R"({"a":{"Value":{"N":"0"}}})", 0},
        {R"({"a":{"N":1.5}})", R"({"a":{"Value":{"N":"0"}}})", 0},
        {R"({"a":{"N":null}})", R"({"a":{"Value":{"N":"0"}}})", 0},
    });
}

TEST(CheckExpected, OtherTypesNeverMatch)
{
    checkAll({
        {R"({"a":{"S":"1"}})", R"({"a":{"Value":{"N":"1"}}})", 1},
        {R"({"a":{"N":"1"}})", R"({"a":{"Value":{"S":"1"}}})", 1},
        {R"({"a":{"B":"AAAA"}})", R"({"a":{"Value":{"B":"AAAA"}}})", 1},
        {R"({"a":{"SS":["x"]}})", R"({"a":{"Value":{"SS":["x"]}}})", 1},
        {R"({"a":{"NS":["1"]}})", R"({"a":{"Value":{"NS":["1"]}}})", 1},
        {R"({"a":{"BS":["A"]}})", R"({"a":{"Value":{"BS":["A"]}}})", 1},
        {R"({"a":{"S":"x"}})", R"({"a":{"Value":{}}})", 1},
        {R"({"a":{"S":"x"}})", R"({"a":{"Value":null}})", 1},
        {R"({"a":{"S":"x"}})", R"({"a":{"Value":"x"}})", 1},
        {R"({"a":"x"})", R"({"a":{"Value":{"S":"x"}}})", 1},
    });
}

TEST(CheckExpected, TheStringDecidesWhenBothHaveOne)
{
    checkAll({
        {R"({"a":{"S":"x","N":"1"}})", R"({"a":{"Value":{"S":"x","N":"2"}}})", 0},
        {R"({"a":{"S":"x","N":"1"}})", R"({"a":{"Value":{"S":"y","N":"1"}}})", 1},
        {R"({"a":{"S":"x","N":"1"}})", R"({"a":{"Value":{"N":"1"}}})", 0},
    });
}

TEST(CheckExpected, TheFirstFailureInNameOrderEndsTheCheck)
{
    checkAll({
        // a fails before b is found to be malformed, and vice versa.
        {R"({"a":{"S":"x"}})", R"({"b":{},"a":{"Value":{"S":"y"}}})", 1},
        {R"({"b":{"S":"x"}})", R"({"b":{"Value":{"S":"y"}},"a":{}})", 2},
        {R"({"a":{"S":"x"},"b":{"N":"1"}})", R"({"a":{"Value":{"S":"x"}},"b":{"Value":{"N":"2"}}})", 1},
        {R"({"a":{"S":"x"},"b":{"N":"1"}})",
         R"({"a":{"Value":{"S":"x"}},"b":{"Value":{"N":"1"}},"c":{"Exists":false}})", 0},
    });
}

} // namespace
