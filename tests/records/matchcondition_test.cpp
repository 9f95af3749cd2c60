#include "records/conditions.h"

#include "records/items.h"
#include "records/recordlines.h"
#include "records/requeststatus.h"

#include <gtest/gtest.h>

namespace {

struct MatchCase {
    QByteArray value;
    bool match;
    bool stop;
};

void expectMatches(const KeyBounds& condition, const QList<MatchCase>& cases)
{
    for (const MatchCase& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.value));
        const KeyMatch key = Records::matchCondition(c.value, condition);
        EXPECT_EQ(key.match, c.match);
        EXPECT_EQ(key.stop, c.stop);
    }
}

const QByteArray High("m\xe9", 2);    // sorts after "mz": bytes are compared as unsigned
const QByteArray WithZero("m\0a", 3); // sorts after "m" and before "ma"

TEST(MatchCondition, NoneMatchesAll)
{
    expectMatches({ComparisonOperator::None, "m", ""},
                  {{"", true, false}, {"a", true, false}, {"m", true, false}, {"z", true, false}});
}

TEST(MatchCondition, EqStopsAtTheFirstOtherValue)
{
    expectMatches({ComparisonOperator::Eq, "m", ""}, {{"m", true, false},
                                                      {"", false, true},
                                                      {"l", false, true},
                                                      {"n", false, true},
                                                      {"ma", false, true},
                                                      {"M", false, true},
                                                      {WithZero, false, true},
                                                      {QByteArray("m\0", 2), false, true}});
    expectMatches({ComparisonOperator::Eq, "", ""}, {{"", true, false}, {"a", false, true}});
    expectMatches({ComparisonOperator::Eq, WithZero, ""}, {{WithZero, true, false}, {"m", false, true}});
}

TEST(MatchCondition, LeNeverStops)
{
    expectMatches({ComparisonOperator::Le, "mb", ""}, {{"mb", true, false},
                                                       {"", true, false},
                                                       {"m", true, false},
                                                       {"ma", true, false},
                                                       {WithZero, true, false},
                                                       {"mba", false, false},
                                                       {"mc", false, false},
                                                       {High, false, false}});
}

TEST(MatchCondition, LtNeverStops)
{
    expectMatches({ComparisonOperator::Lt, "mb", ""}, {{"mb", false, false},
                                                       {"", true, false},
                                                       {"m", true, false},
                                                       {"ma", true, false},
                                                       {"mba", false, false},
                                                       {"mc", false, false},
                                                       {High, false, false}});
    expectMatches({ComparisonOperator::Lt, "", ""}, {{"", false, false}, {"a", false, false}});
}

TEST(MatchCondition, GeNeverStops)
{
    expectMatches({ComparisonOperator::Ge, "mb", ""}, {{"mb", true, false},
                                                       {"", false, false},
                                                       {"m", false, false},
                                                       {"ma", false, false},
                                                       {WithZero, false, false},
                                                       {"mba", true, false},
                                                       {High, true, false}});
    expectMatches({ComparisonOperator::Ge, "", ""}, {{"", true, false}, {"a", true, false}});
}

TEST(MatchCondition, GtNeverStops)
{
    expectMatches({ComparisonOperator::Gt, "mb", ""}, {{"mb", false, false},
                                                       {"m", false, false},
                                                       {"mba", true, false},
                                                       {"mc", true, false},
                                                       {High, true, false},
                                                       {"\xff", true, false}});
    expectMatches({ComparisonOperator::Gt, "", ""}, {{"", false, false}, {QByteArray(1, '\0'), true, false}});
}

TEST(MatchCondition, BeginsWithStopsAtTheFirstValueWithoutThePrefix)
{
    expectMatches({ComparisonOperator::BeginsWith, "mb", ""}, {{"mb", true, false},
                                                               {"mba", true, false},
                                                               {QByteArray("mb\0", 3), true, false},
                                                               {"mb\xff", true, false},
                                                               {"m", false, true},
                                                               {"", false, true},
                                                               {"ma", false, true},
                                                               {"mc", false, true},
                                                               {"amb", false, true},
                                                               {"MB", false, true}});
    expectMatches({ComparisonOperator::BeginsWith, "", ""}, {{"", true, false}, {"a", true, false}});
}

TEST(MatchCondition, BetweenStopsAfterItsUpperBound)
{
    expectMatches({ComparisonOperator::Between, "mb", "me"}, {{"mb", true, false},
                                                              {"mc", true, false},
                                                              {"me", true, false},
                                                              {"ma", false, false},
                                                              {"", false, false},
                                                              {"mea", false, true},
                                                              {"mf", false, true},
                                                              {High, false, true}});
    expectMatches({ComparisonOperator::Between, "m", "m"},
                  {{"m", true, false}, {"l", false, false}, {WithZero, false, true}});
    // Nothing lies between reversed bounds.
    expectMatches({ComparisonOperator::Between, "me", "mb"},
                  {{"ma", false, false}, {"mb", false, false}, {"mc", false, true}, {"me", false, true}});
    expectMatches({ComparisonOperator::Between, "", ""}, {{"", true, false}, {"a", false, true}});
}

TEST(MatchCondition, UnknownOperatorMatchesAll)
{
    expectMatches({ComparisonOperator::Unknown, "m", ""},
                  {{"", true, false}, {"a", true, false}, {"m", true, false}, {"z", true, false}});
}

} // namespace
