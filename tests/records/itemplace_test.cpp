#include "records/itemplace.h"

#include "items.h"
#include "rawrecords.h"
#include "recordlines.h"
#include "records/encoding.h"
#include "records/requeststatus.h"
#include "support/tableenv.h"

#include <gtest/gtest.h>

namespace {

class ItemPlaceTest : public testing::Test {
protected:
    TableEnv tables_;
    ItemPlace place_;
};

TEST_F(ItemPlaceTest, IsInThePartitionOfTheHashKeyUnderBothKeys)
{
    place_.hashKey = "abc"; // MD5 900150983cd24fb0...
    place_.rangeKey = "2012";
    ASSERT_EQ(Records::findPlace(tables_.context(), tables_.tableName("orders"), &place_), 0);
    EXPECT_EQ(place_.key, "0003abc2012");
    EXPECT_EQ(place_.db, nullptr) << "for reading, a file is not created";
    ASSERT_EQ(Records::openPlace(tables_.context(), tables_.tableName("orders"), &place_), 0);
    EXPECT_EQ(place_.key, "0003abc2012");
    EXPECT_EQ(place_.db, tables_.index("orders_98.db", "data"));
    place_.db = nullptr;
    ASSERT_EQ(Records::findPlace(tables_.context(), tables_.tableName("orders"), &place_), 0);
    EXPECT_EQ(place_.db, tables_.index("orders_98.db", "data"));
}

TEST_F(ItemPlaceTest, OfAPartitionThatCannotBeOpenedIsTwelve)
{
    tables_.directory().makeDirectory("orders_98.db");
    place_.hashKey = "abc";
    const LogCapture log;
    EXPECT_EQ(Records::findPlace(tables_.context(), tables_.tableName("orders"), &place_), 12);
    EXPECT_EQ(place_.db, nullptr);
}

TEST_F(ItemPlaceTest, IsTakenOutOfAnItemByTheTablesSchema)
{
    tables_.context().setKeySchema({json(R"({"AttributeName":"id","AttributeType":"S"})"),
                                    json(R"({"AttributeName":"when","AttributeType":"S"})")});
    const QVariantMap item = json(R"({"id":{"S":"abc"},"n":{"N":"1"},"when":{"S":"2012"}})");
    QByteArray stored;
    ASSERT_EQ(Records::takePlace(tables_.context(), tables_.tableName("orders"), item, &place_, &stored), 0);
    EXPECT_EQ(stored, R"({"n":{"N":"1"}})");
    EXPECT_EQ(place_.hashKey, "abc");
    EXPECT_EQ(place_.rangeKey, "2012");
    EXPECT_EQ(place_.key, "0003abc2012");
    EXPECT_EQ(place_.db, tables_.index("orders_98.db", "data"));
}

TEST_F(ItemPlaceTest, OfAWholeItemLoadsTheTablesSchema)
{
    rawPut(tables_.index("orders", "meta"), "0011tableschema",
           R"({"KeySchema":{"HashKeyElement":{"AttributeName":"id","AttributeType":"S"},)"
           R"("RangeKeyElement":{"AttributeName":"when","AttributeType":"S"}}})");
    const QVariantMap item = json(R"({"id":{"S":"abc"},"when":{"S":"2012"}})");
    QByteArray stored;
    ASSERT_EQ(Records::takePlace(tables_.context(), tables_.tableName("orders"), item, &place_, &stored), 0);
    EXPECT_EQ(stored, "{}");
    EXPECT_EQ(place_.key, "0003abc2012");
    EXPECT_EQ(place_.db, tables_.index("orders_98.db", "data"));
}

TEST_F(ItemPlaceTest, OfAnItemOfATableThatIsMissingIsNotFound)
{
    QByteArray stored = "untouched";
    const LogCapture log;
    EXPECT_EQ(Records::takePlace(tables_.context(), tables_.tableName("orders"), QVariantMap(), &place_, &stored),
              StatusNotFound);
    EXPECT_EQ(stored, "untouched");
    EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # schema load failed rc 3"}));
}

TEST_F(ItemPlaceTest, OfAnItemWithoutAHashKeyOpensNothing)
{
    tables_.context().setKeySchema({json(R"({"AttributeName":"id","AttributeType":"S"})"),
                                    json(R"({"AttributeName":"when","AttributeType":"S"})")});
    const QVariantMap item = json(R"({"when":{"S":"2012"}})");
    QByteArray stored = "untouched";
    const LogCapture log;
    EXPECT_EQ(Records::takePlace(tables_.context(), tables_.tableName("orders"), item, &place_, &stored),
              StatusInternalError);
    EXPECT_EQ(stored, "untouched");
    EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # attr missing"}));
    EXPECT_EQ(place_.db, nullptr);
    EXPECT_TRUE(tables_.env()->names().isEmpty());
}

} // namespace
