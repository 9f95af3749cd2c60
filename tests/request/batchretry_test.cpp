#include "retryfixture.h"

namespace {

class BatchRetryTest : public RetryTest {
protected:
    static constexpr int Entries = 7;

    void SetUp() override
    {
        RetryTest::SetUp();
        for (int n = 0; n < Entries; ++n) {
            const QString hash = hashIn(10 * n);
            places_.push_back({hash, "r"});
            before_.append(itemOf(hash, "r", {{"v", textValue("before")}}));
            after_.append(itemOf(hash, "r", {{"v", textValue("after")}}));
            entries_.append(putEntry(after_.last().toMap()));
        }
        put(before_);
    }

    QVariantList stored()
    {
        QVariantList items;
        for (const Place& place : places_) {
            const Outcome outcome = bench_.run("Query", inTable({{"HashKeyValue", textValue(place.hash)}}));
            items += asSent(outcome.reply).value("Items").toList();
        }
        return items;
    }

    /** Logged one attempt later than for the other operations. */
    const std::string a_ = "[WARN] WriteBatchItem Got deadlock retry 8";
    const std::string b_ = "[WARN] WriteBatchItem Got deadlock retry 16";
    const std::string c_ = "[WARN] WriteBatchItem Got deadlock retry 32";
    const std::vector<std::vector<std::string>> fromFourth_{{}, {}, {}, {}, {a_}, {a_, b_}, {a_, b_, c_}};

    std::vector<Place> places_;
    QVariantList before_;
    QVariantList after_;
    QVariantList entries_;
};

TEST_F(BatchRetryTest, BeginsAgainWithItsFirstEntry)
{
    std::vector<std::vector<std::string>> lines;
    const QVariantMap body{{"RequestItems", QVariantMap{{bench_.tableName(), entries_}}}};
    EXPECT_EQ(lose("BatchWriteItem", body, places_, &lines), (Outcome{StatusSuccess, {}}));
    EXPECT_EQ(lines, fromFourth_);
    EXPECT_EQ(stored(), after_);
}

TEST_F(BatchRetryTest, RefusedEntryAfterDeadlocksWritesNothing)
{
    std::vector<std::vector<std::string>> lines;
    entries_.append(entries_.first());
    const QVariantMap tables{{bench_.tableName(), entries_}};
    EXPECT_EQ(lose("BatchWriteItem", {{"RequestItems", tables}}, {places_.end() - 2, places_.end()}, &lines),
              (Outcome{StatusConditionFailed, {{"UnprocessedItems", tables}}}));
    EXPECT_EQ(lines, (std::vector<std::vector<std::string>>{{}, {}})); // no attempt has reached the refusal yet
    EXPECT_EQ(stored(), before_);
}

TEST_F(BatchRetryTest, BeginsAgainWithItsFirstTable)
{
    const QString second = bench_.tableName("u");
    EXPECT_EQ(bench_.run("CreateTable", {{"TableName", second}, {"KeySchema", keySchema()}}).status, StatusSuccess);
    const QVariantMap item = itemOf("x", "x");
    // Only the last attempt reaches the second table, but all of them write to the first.
    const QVariantMap tables{{bench_.tableName(), entries_},
                             {second, QVariantList{putEntry(item), deleteEntry("y", "")}}};
    std::vector<std::vector<std::string>> lines;
    EXPECT_EQ(lose("BatchWriteItem", {{"RequestItems", tables}}, places_, &lines), (Outcome{StatusSuccess, {}}));
    EXPECT_EQ(lines, fromFourth_);
    EXPECT_EQ(stored(), after_);
    const Outcome other = bench_.run("Query", {{"TableName", second}, {"HashKeyValue", textValue("x")}});
    EXPECT_EQ(asSent(other.reply), (QVariantMap{{"Count", 1}, {"Items", QVariantList{item}}}));
}

} // namespace
