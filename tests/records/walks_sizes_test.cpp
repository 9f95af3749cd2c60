#include "walkfailurefixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/** The JSON text of an item whose stored value is exactly `size` bytes. */
Bytes valueOfSize(qsizetype size)
{
    const Bytes frame = R"({"v":{"S":""}})";
    return R"({"v":{"S":")" + Bytes(size - frame.size(), 'x') + R"("}})";
}

TEST_F(WalkFailureTest, LargeValuesAreReadAfterOneGrowth)
{
    for (const qsizetype size : {4095, 4096, 4097, 5000, 0x80000 - 1, 0x80000}) {
        SCOPED_TRACE(size);
        put({"a", "1"});
        rawPut(db(), Records::recordKey("a", "2"), valueOfSize(size));
        put({"a", "3"});
        LogCapture log;
        for (const Keys& start : {Keys{}, Keys{"a", "1"}, Keys{"a", "10"}}) {
            Scanned progress = withLimit(9);
            EXPECT_EQ(scan(start, {}, &progress), 0);
            const int skipped = start.first.isEmpty() ? 0 : 1;
            ASSERT_EQ(progress.count, 3 - skipped);
            EXPECT_EQ(progress.items.at(1 - skipped).toMap().value("v").toMap().value("S").toString().size(),
                      size - 14);
            EXPECT_EQ(progress.items.at(2 - skipped), QVariant(itemOf({"a", "3"})));
        }
        for (const bool forward : {true, false}) {
            for (const Bytes start : {"", "2", "10", "20"}) {
                Queried result;
                EXPECT_EQ(query({"a", start, 9, forward, nullptr}, &result), 0);
                QStringList ranges;
                for (const QVariant& item : result.items)
                    ranges.append(item.toMap().value("when").toMap().value("S").toString());
                const QStringList upward = start.isEmpty() ? QStringList{"1", "2", "3"}
                                           : start == "10" ? QStringList{"2", "3"}
                                                           : QStringList{"3"};
                const QStringList downward = start.isEmpty() ? QStringList{"3", "2", "1"}
                                             : start == "20" ? QStringList{"3", "2", "1"}
                                             : start == "10" ? QStringList{"2", "1"}
                                                             : QStringList{"1"};
                EXPECT_EQ(ranges, forward ? upward : downward) << start.toStdString();
            }
        }
        EXPECT_THAT(recordLines(log), IsEmpty());
    }
}

TEST_F(WalkFailureTest, ValueAboveTheLargestSizeEndsTheWalk)
{
    put({"a", "1"});
    rawPut(db(), Records::recordKey("a", "2"), valueOfSize(0x80001));
    put({"a", "3"});
    expectFailedScan(DB_BUFFER_SMALL, {"[ERROR] bdbrequest # scanDb cursor get failed for  key ulen 4096 size 6 data "
                                       "ulen 524288 size 524289"});
    expectFailedScan(DB_BUFFER_SMALL,
                     {"[ERROR] bdbrequest # scanDb cursor get failed for 0001a1 key ulen 4096 size 6 data ulen 524288 "
                      "size 524289"},
                     {"a", "1"});
    expectFailedQuery({"a", "1", 9, true, nullptr}, DB_BUFFER_SMALL,
                      {"[ERROR] bdbrequest # queryDb cursor get failed for 0001a1 key ulen 4096 size 6 data ulen "
                       "524288 size 524289"});
    // Downward, the seek key contains the byte that stands for no bound.
    expectFailedQuery({"a", "", 9, false, nullptr}, DB_BUFFER_SMALL,
                      {"[ERROR] bdbrequest # queryDb cursor get failed for 0001a\xff key ulen 4096 size 6 data ulen "
                       "524288 size 524289"});

    // A page that ends before it is not affected.
    Scanned progress = withLimit(1);
    EXPECT_EQ(scan({}, {}, &progress), 0);
    EXPECT_EQ(progress.items, itemsOf({{"a", "1"}}));
}

TEST_F(WalkFailureTest, KeyAboveTheBufferEndsTheWalk)
{
    const Bytes range(4096 - 5, 'r');
    put({"a", range}); // 4096 bytes including "0001a": fits
    Scanned progress = withLimit(9);
    EXPECT_EQ(scan({}, {}, &progress), 0);
    EXPECT_EQ(progress.items, itemsOf({{"a", range}}));
    Queried result;
    EXPECT_EQ(query({"a", "", 9, false, nullptr}, &result), 0);
    EXPECT_EQ(result.items, itemsOf({{"a", range}}));

    put({"a", range + 's'});
    const std::string sizes = " key ulen 4096 size 4097 data ulen 524288 size ";
    LogCapture log;
    progress = withLimit(9);
    EXPECT_EQ(scan({}, {}, &progress), DB_BUFFER_SMALL);
    EXPECT_EQ(progress, withLimit(9));
    EXPECT_EQ(query({"a", "", 9, true, nullptr}, &result), DB_BUFFER_SMALL);
    EXPECT_THAT(recordLines(log),
                ElementsAre(testing::StartsWith("[ERROR] bdbrequest # scanDb cursor get failed for " + sizes),
                            testing::StartsWith("[ERROR] bdbrequest # queryDb cursor get failed for 0001a" + sizes)));

    // The buffer is four bytes longer than the start key.
    const Bytes start = range + "rrr";
    put({"a", range + "sssss"});
    put({"a", range + "ssssss"});
    progress = withLimit(2);
    EXPECT_EQ(scan({"a", start}, {}, &progress), 0);
    EXPECT_EQ(progress.items, itemsOf({{"a", range + "s"}, {"a", range + "sssss"}}));
    LogCapture second;
    progress = withLimit(9);
    EXPECT_EQ(scan({"a", start}, {}, &progress), 0);
    EXPECT_EQ(progress.items, itemsOf({{"a", range + "s"}, {"a", range + "sssss"}, {"a", range + "ssssss"}}));
    put({"a", range + "ssssssss"});
    EXPECT_EQ(scan({"a", start}, {}, &progress), DB_BUFFER_SMALL);
    EXPECT_THAT(recordLines(second), ElementsAre(testing::StartsWith(
                                         "[ERROR] bdbrequest # scanDb cursor get failed for 0001a" +
                                         start.toStdString() + " key ulen 4103 size 4104 data ulen 524288 size ")));
}

} // namespace
