#include "itemrangefixture.h"

#include "support/scriptedserver.h"

#include <QJsonDocument>
#include <QSet>

#include <mutex>
#include <utility>

namespace {

using namespace Quorva;

} // namespace

TEST_F(LibraryItemRange, ScanGivesEveryItemOnceWhateverTheSizeOfThePages)
{
    QSet<QString> keys;
    const auto putKey = [&](const QString& hash, const QString& range) {
        put(hash, range);
        keys.insert(hash + '/' + range);
    };
    for (const char* range : {"", "1", "2"})
        putKey("", range); // an empty hash key cannot be used as a start key
    for (int i = 0; i < 20; ++i)
        putKey(QString("k%1").arg(i % 7), QString::number(i));
    putKey("\u00e9", "\u00ff");

    for (const int limit : {0, 1, 2, 3, 7}) {
        QStringList found;
        ItemRange items = connection_.scanAll(table_, {.limit = limit});
        for (const Item& item : items)
            found.append(text(item, "h") + '/' + text(item, "r"));
        EXPECT_TRUE(items.result().ok());
        EXPECT_EQ(found.size(), keys.size()) << limit;
        EXPECT_EQ(QSet<QString>(found.begin(), found.end()), keys) << limit;
    }
    QStringList filtered =
        rangesOf(connection_.scanAll(table_, {.filter = {{"h", KeyCondition::equal("k3")}}, .limit = 2}));
    filtered.sort();
    EXPECT_EQ(filtered, (QStringList{"10", "17", "3"}));
}

TEST_F(LibraryItemRange, IsGoneThroughOnceAndLeavesTheConnectionToOthersMeanwhile)
{
    putRanges();
    ItemRange items = connection_.queryAll(table_, "k", {.limit = 2});
    QStringList found;
    for (const Item& item : items) {
        EXPECT_EQ(stored("k", text(item, "r")), (Item{{"x", S(text(item, "r"))}}));
        found.append(text(item, "r"));
        if (found.size() == 3)
            break;
    }
    // The second loop continues where the first stopped, with the same item.
    for (auto item = items.begin(); item != items.end(); item++)
        found.append(text(*item, "r"));
    QStringList expected = Ranges;
    expected.insert(3, Ranges[2]);
    EXPECT_EQ(found, expected);
    EXPECT_TRUE(items.begin() == items.end());
}

TEST_F(LibraryItemRange, ContinuesWhereItWasWhenItIsMoved)
{
    putRanges();
    ItemRange first = connection_.queryAll(table_, "k", {.limit = 2});
    auto item = first.begin();
    for (int i = 0; i < 3; ++i)
        ++item;
    ItemRange second(std::move(first));
    EXPECT_EQ(text(*item, "r"), Ranges[3]) << "its iterators move along";
    ItemRange third = connection_.queryAll(table_, "nobody");
    third = std::move(second);
    EXPECT_EQ(rangesOf(std::move(third)), Ranges.sliced(3));
}

TEST_F(LibraryItemRange, EndsWhereAPageCannotBeHad)
{
    ItemRange refused = connection_.queryAll("/nowhere|t", "k");
    EXPECT_TRUE(refused.begin() == refused.end());
    EXPECT_EQ(refused.result().outcome(), Outcome::ErrorReply);
    EXPECT_EQ(refused.result().rcstr(), "Not Found");
    ItemRange prefix = connection_.queryAll("/nowhere|t", "k", {.range = KeyCondition::beginsWith("a")});
    EXPECT_TRUE(prefix.begin() == prefix.end());
    EXPECT_EQ(prefix.result().rcstr(), "Not Found");

    putRanges();
    for (const bool query : {true, false}) {
        ItemRange items =
            query ? connection_.queryAll(table_, "k", {.limit = 3}) : connection_.scanAll(table_, {.limit = 3});
        int found = 0;
        for (auto item = items.begin(); item != items.end(); ++item) {
            if (++found == 4) { // the first of the second page
                server_.kill();
                ASSERT_TRUE(server_.waitForExit());
            }
        }
        EXPECT_EQ(found, 6) << query;
        EXPECT_EQ(items.result().outcome(), Outcome::NoReply) << query;
        EXPECT_FALSE(connection_.isOpen()) << query;
        ASSERT_TRUE(server_.start());
        ASSERT_TRUE(connection_.open(address()));
    }
}

/** Going down from c, which has been deleted, the server examines d first. */
TEST(LibraryItemRangeFromAServer, AsksForTheSamePageAgainWhenItEndedBeforeItsStart)
{
    std::mutex mutex;
    QStringList asked;
    const ReplyingServer server([&](const QByteArray&, const QByteArray& body) {
        const QVariantMap request = QJsonDocument::fromJson(body).toVariant().toMap();
        const QVariantMap start = request.value("ExclusiveStartKey").toMap();
        const QString range = start.value("RangeKeyElement").toMap().value("S").toString();
        const int limit = request.value("Limit").toInt();
        const std::scoped_lock lock(mutex);
        asked.append(range + '/' + QString::number(limit));
        if (range.isEmpty())
            return QByteArray(R"({"Count":1,"Items":[{"h":{"S":"k"},"r":{"S":"c"}}],)"
                              R"("LastEvaluatedKey":{"HashKeyElement":"k","RangeKeyElement":"c"},"__rc":200})");
        if (limit == 1)
            return QByteArray(R"({"Count":0,"Items":[],)"
                              R"("LastEvaluatedKey":{"HashKeyElement":"k","RangeKeyElement":"d"},"__rc":200})");
        return QByteArray(R"({"Count":1,"Items":[{"h":{"S":"k"},"r":{"S":"b"}}],"__rc":200})");
    });
    Connection connection;
    ASSERT_TRUE(connection.open({.port = server.port()}));
    QStringList found;
    ItemRange items = connection.queryAll("d|t", "k", {.backward = true, .limit = 1});
    for (const Item& item : items)
        found.append(text(item, "r"));
    EXPECT_TRUE(items.result().ok());
    EXPECT_EQ(found, QStringList({"c", "b"}));
    const std::scoped_lock lock(mutex);
    EXPECT_EQ(asked, QStringList({"/1", "c/1", "c/2"}));
}
