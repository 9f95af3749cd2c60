#include "retryfixture.h"

namespace {

/** A Commit of one item in each of several files, which loses deadlocks against an older transaction. */
class CommitRetryTest : public RetryTest {
protected:
    static constexpr int Entries = 7;

    void SetUp() override
    {
        RetryTest::SetUp();
        for (int n = 0; n < Entries; ++n) {
            places_.push_back({hashIn(10 * n), "r"});
            put({itemOf(places_.back().hash, "r", before_)});
        }
    }

    QVariantList entries(const QVariantMap& expected) const
    {
        QVariantList entries;
        for (const Place& place : places_) {
            QVariantMap entry = inTable({{"Key", itemKey(place.hash, place.range)}, {"Put", after_}});
            if (!expected.isEmpty())
                entry.insert("Expected", expected);
            entries.append(entry);
        }
        return entries;
    }

    void expectStored(const QVariantMap& attributes)
    {
        for (const Place& place : places_) {
            const Outcome item = bench_.run("GetItem", inTable({{"Key", itemKey(place.hash, place.range)}}));
            EXPECT_EQ(item.reply.value("Item").toMap(), attributes);
        }
    }

    std::vector<std::vector<std::string>> lines_;
    std::vector<Place> places_;
    const QVariantMap before_{{"v", textValue("before")}};
    const QVariantMap after_{{"v", textValue("after")}};
};

TEST_F(CommitRetryTest, BeginsAgainWithItsFirstEntry)
{
    for (const QVariantMap& expected : {QVariantMap(), QVariantMap{{"Item", before_}}}) {
        for (const Place& place : places_)
            put({itemOf(place.hash, "r", before_)});
        lines_.clear();
        EXPECT_EQ(
            lose("Quorva_1.Commit", {{"Entries", entries(expected)}}, {places_.begin(), places_.begin() + 6}, &lines_),
            (Outcome{StatusSuccess, {}}));
        EXPECT_EQ(lines_, fromThird("commit Got deadlock : retry ", ""));
        expectStored(after_);
    }
}

TEST_F(CommitRetryTest, MismatchesAreThoseOfTheLastAttempt)
{
    const QVariantMap other{{"Item", QVariantMap{{"v", textValue("other")}}}};
    const Outcome outcome = lose("Quorva_1.Commit", {{"Entries", entries(other)}}, places_, &lines_);
    EXPECT_EQ(outcome.status, StatusConditionFailed);
    QVariantList mismatches;
    for (int n = 0; n < Entries; ++n)
        mismatches.append(QVariantMap{{"Entry", qlonglong(n)}, {"Item", before_}});
    EXPECT_EQ(asSent(outcome.reply), (QVariantMap{{"Mismatches", mismatches}}));
    expectStored(before_);
}

} // namespace
