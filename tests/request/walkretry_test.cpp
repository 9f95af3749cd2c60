#include "retryfixture.h"

#include <algorithm>

namespace {

class ScanRetryTest : public RetryTest {
protected:
    void SetUp() override
    {
        RetryTest::SetUp();
        for (const int partition : {252, 253, 255})
            items_ += spreadItems(hashIn(partition));
        put(items_);
    }

    QVariantList items_;
};

class QueryRetryTest : public RetryTest {
protected:
    void SetUp() override
    {
        RetryTest::SetUp();
        put(items_);
        places_ = placesOf("q");
    }

    QVariantList items_ = spreadItems("q");
    std::vector<Place> places_;
};

TEST_F(ScanRetryTest, KeepsEarlierPartitionsAndDropsTheFailedAttempts)
{
    std::vector<std::vector<std::string>> lines;
    const QVariantMap body{{"ExclusiveStartKey", itemKey(hashIn(252), "!")}, {"Limit", 1000}};
    const Outcome outcome = lose("Scan", inTable(body), placesOf(hashIn(253)), &lines);
    EXPECT_EQ(outcome.status, StatusSuccess);
    EXPECT_EQ(asSent(outcome.reply), (QVariantMap{{"Count", 108}, {"ScannedCount", 108}, {"Items", items_}}));
    // The start key applies only to the first partition of a scan.
    EXPECT_EQ(lines, fromThird("scanTable Got deadlock: retry ", " hkey  rkey "));
}

TEST_F(ScanRetryTest, KeepsTheBudgetOfEarlierPartitions)
{
    std::vector<Place> places = placesOf(hashIn(253));
    places.erase(places.begin(), places.begin() + 3);
    std::vector<std::vector<std::string>> lines;
    const QVariantMap body{{"ExclusiveStartKey", itemKey(hashIn(252), "")}, {"Limit", Spread + 35}};
    const Outcome outcome = lose("Scan", inTable(body), places, &lines);
    EXPECT_EQ(outcome.status, StatusSuccess);
    EXPECT_EQ(asSent(outcome.reply), (QVariantMap{{"Count", Spread + 35},
                                                  {"ScannedCount", Spread + 35},
                                                  {"Items", items_.mid(0, Spread + 35)},
                                                  {"LastEvaluatedKey", bareKey(hashIn(253), "34")}}));
    EXPECT_EQ(lines, std::vector<std::vector<std::string>>(3)); // two consecutive deadlocks are silent
}

TEST_F(ScanRetryTest, BeginsAgainAfterItsStartKey)
{
    const QString hash = hashIn(255);
    std::vector<std::vector<std::string>> lines;
    const QVariantMap body{{"ExclusiveStartKey", itemKey(hash, "00")}, {"Count", true}};
    const Outcome outcome = lose("Scan", inTable(body), placesOf(hash), &lines);
    EXPECT_EQ(outcome, (Outcome{StatusSuccess, {{"Count", 35}, {"ScannedCount", 35}}}));
    EXPECT_EQ(lines, fromThird("scanTable Got deadlock: retry ", " hkey " + hash.toStdString() + " rkey 00"));
}

TEST_F(QueryRetryTest, ForwardDropsTheFailedAttempts)
{
    std::vector<std::vector<std::string>> lines;
    const Outcome outcome = lose("Query", inTable({{"HashKeyValue", textValue("q")}}), places_, &lines);
    EXPECT_EQ(outcome.status, StatusSuccess);
    EXPECT_EQ(asSent(outcome.reply), (QVariantMap{{"Count", 36}, {"Items", items_}}));
    EXPECT_EQ(lines, fromThird("queryTable Got deadlock: retry ", " hkey q rkey "));
}

TEST_F(QueryRetryTest, BackwardDropsTheFailedAttempts)
{
    std::reverse(places_.begin(), places_.end());
    std::reverse(items_.begin(), items_.end());
    std::vector<std::vector<std::string>> lines;
    const QVariantMap body{{"ExclusiveStartKey", itemKey("q", "6")}, {"ScanIndexForward", false}, {"Limit", 36}};
    const Outcome outcome = lose("Query", inTable(body), places_, &lines);
    EXPECT_EQ(outcome.status, StatusSuccess);
    EXPECT_EQ(asSent(outcome.reply),
              (QVariantMap{{"Count", 36},
                           {"Items", items_},
                           {"LastEvaluatedKey", QVariantMap{{"HashKeyElement", "q"}, {"RangeKeyElement", "00"}}}}));
    EXPECT_EQ(lines, fromThird("queryTable Got deadlock: retry ", " hkey q rkey 6"));
}

} // namespace
