#include "libraryfixture.h"

using namespace Quorva;

TEST(Result, AsMadeIsASuccessWithoutAReply)
{
    const Result result;
    EXPECT_TRUE(result);
    EXPECT_EQ(result.outcome(), Outcome::Success);
    EXPECT_EQ(result.reply(), QVariantMap());
    EXPECT_EQ(result.rc(), 0);
    EXPECT_EQ(result.errorText(), "");
}

TEST(Result, ReadsThePartsOfAReply)
{
    const QVariantMap reply{{"__rc", 200LL},
                            {"__rcstr", "OK"},
                            {"Count", 2LL},
                            {"ScannedCount", 3LL},
                            {"Items", QVariantList{QVariantMap{{"a", S("1")}}, QVariantMap{{"a", S("2")}}}},
                            {"LastEvaluatedKey", QVariantMap{{"HashKeyElement", "x"}, {"RangeKeyElement", "y"}}}};
    const Result result = Result::fromReply(reply);
    EXPECT_EQ(result.outcome(), Outcome::Success);
    EXPECT_EQ(result.reply(), reply);
    EXPECT_EQ(result.rc(), 200);
    EXPECT_EQ(result.rcstr(), "OK");
    EXPECT_EQ(result.count(), 2);
    EXPECT_EQ(result.scannedCount(), 3);
    EXPECT_EQ(result.items(), (QList<Item>{{{"a", S("1")}}, {{"a", S("2")}}}));
    EXPECT_EQ(result.lastKey(), (Key{"x", "y"}));
}

TEST(Result, PartsThatAreNotThereAreEmpty)
{
    const Result result = Result::fromReply({{"__rc", 200LL}, {"__rcstr", "OK"}});
    EXPECT_EQ(result.errorType(), "");
    EXPECT_EQ(result.errorText(), "");
    EXPECT_EQ(result.item(), std::nullopt);
    EXPECT_EQ(result.attributes(), Item());
    EXPECT_EQ(result.items(), QList<Item>());
    EXPECT_EQ(result.count(), 0);
    EXPECT_EQ(result.scannedCount(), 0);
    EXPECT_EQ(result.lastKey(), std::nullopt);
    EXPECT_EQ(result.table(), QVariantMap());
    EXPECT_TRUE(result.unprocessed().isEmpty());
}

TEST(Result, DistinguishesAFailedConditionFromOtherErrors)
{
    QVariantMap reply{{"__rc", 400LL},
                      {"__rcstr", "Bad Request"},
                      {"__type", "ConditionalCheckFailedException"},
                      {"message", "The conditional request failed."}};
    expectConditionFailed(Result::fromReply(reply));

    reply["__type"] = "ValidationException";
    reply["message"] = "A parameter is missing";
    const Result other = Result::fromReply(reply);
    EXPECT_EQ(other.outcome(), Outcome::ErrorReply);
    EXPECT_EQ(other.errorType(), "ValidationException");
    EXPECT_EQ(other.errorText(), "A parameter is missing");

    EXPECT_EQ(Result::fromReply({}).outcome(), Outcome::ErrorReply);
    expectNoReply(Result::noReply("gone"), "gone");
}
