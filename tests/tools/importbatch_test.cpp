#include "tools/importbatch.h"

#include "tools/session.h"

#include <gtest/gtest.h>

namespace {

using Ctl::ImportBatch;
using Ctl::ItemKey;

const KeyNames Keys{"h", "r"};

ItemKey key(int n)
{
    return {"k", QString::number(n)};
}

std::string lineError(const QByteArray& line)
{
    ItemKey read;
    return Ctl::checkImportLine(line, Keys, &read);
}

} // namespace

TEST(ImportBatchTest, IsFullWith250Items)
{
    ImportBatch batch;
    EXPECT_TRUE(batch.isEmpty());
    for (int n = 1; n <= 250; ++n) {
        EXPECT_FALSE(batch.isFull()) << n;
        EXPECT_TRUE(batch.hasRoomFor(1)) << n;
        batch.add(n, "{}", key(n));
    }
    EXPECT_TRUE(batch.isFull());
    EXPECT_FALSE(batch.hasRoomFor(1));
    EXPECT_EQ(batch.size(), 250U);
    batch.clear();
    EXPECT_TRUE(batch.isEmpty());
    EXPECT_FALSE(batch.isFull());
    EXPECT_FALSE(batch.contains(key(1)));
}

TEST(ImportBatchTest, HasRoomForHalfAMegabyteOfTextOrOneItem)
{
    constexpr qsizetype Most = 512 * 1024;
    ImportBatch batch;
    EXPECT_TRUE(batch.hasRoomFor(2 * Most)) << "it has to be sent somehow";
    batch.add(1, QByteArray(Most - 1, 'x'), key(1));
    EXPECT_FALSE(batch.isFull());
    EXPECT_TRUE(batch.hasRoomFor(1));
    EXPECT_FALSE(batch.hasRoomFor(2));
    batch.add(2, "x", key(2));
    EXPECT_TRUE(batch.isFull());
    batch.clear();
    EXPECT_TRUE(batch.hasRoomFor(Most));
    batch.add(3, "x", key(3));
    EXPECT_FALSE(batch.isFull());
}

TEST(ImportBatchTest, KnowsTheKeysAndLinesOfItsItems)
{
    ImportBatch batch;
    batch.add(7, "{}", {"a", "b"});
    batch.add(9, "{}", {"", "ab"});
    EXPECT_TRUE(batch.contains({"a", "b"}));
    EXPECT_TRUE(batch.contains({"", "ab"}));
    EXPECT_FALSE(batch.contains({"ab", ""}));
    EXPECT_EQ(batch.lineOf(0), 7);
    EXPECT_EQ(batch.lineOf(1), 9);
}

TEST(ImportBatchTest, PutsTheLinesAsTheyAreIntoARequest)
{
    ImportBatch batch;
    batch.add(1, "{\"a\": 1}", key(1));
    batch.add(2, "{\"b\":2}", key(2));
    batch.add(3, "{\"c\":3}", key(3));
    EXPECT_EQ(batch.requestBody("d|\"t", 0, 2).toStdString(),
              R"({"RequestItems":{"d|\"t":[{"PutRequest":{"Item":{"a": 1}}},{"PutRequest":{"Item":{"b":2}}}]}})");
    EXPECT_EQ(batch.requestBody("d|t", 2, 1).toStdString(),
              R"({"RequestItems":{"d|t":[{"PutRequest":{"Item":{"c":3}}}]}})");
}

TEST(CheckImportLine, ReadsTheKeys)
{
    ItemKey read;
    EXPECT_EQ(Ctl::checkImportLine(R"({"h":{"S":"a"},"r":{"S":""},"x":["untyped"]})", Keys, &read), "");
    EXPECT_EQ(read, ItemKey("a", ""));
}

TEST(CheckImportLine, RefusesAnItemThatIsTooDeepForARequest)
{
    const auto nested = [](int levels) {
        return R"({"h":{"S":"a"},"r":{"S":"b"},"x":)" + QByteArray(levels, '[') + QByteArray(levels, ']') + '}';
    };
    int deepest = 0;
    while (deepest < 100'000 && lineError(nested(deepest + 1)).empty())
        ++deepest;
    EXPECT_GT(deepest, 100);
    EXPECT_EQ(lineError(nested(deepest + 1)), "the item is nested too deeply");
}
