#include "libraryfixture.h"

#include "support/scriptedserver.h"

#include <QJsonDocument>
#include <QSet>

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

using namespace Quorva;

namespace {

/** Range keys in the order of their bytes; the empty one cannot be sent back as a start. */
const QStringList Ranges{"",       "%%",           "-5",           "A", "a", "a a", "ab", "abc", "b", "\u00e9",
                         "\u00ff", "\u00ff\u00ff", "\u00ff\u00ffa"};

QStringList downwards(QStringList keys)
{
    std::reverse(keys.begin(), keys.end());
    return keys;
}

class LibraryItemRange : public LibraryTest {
protected:
    void putRanges()
    {
        for (const QString& range : Ranges)
            put("k", range, {{"x", S(range)}});
        put("j", "before");
        put("l", "behind");
    }

    /** The range keys that the range gives, whose requests all succeed. */
    static QStringList rangesOf(ItemRange items)
    {
        QStringList found;
        for (const Item& item : items)
            found.append(text(item, "r"));
        EXPECT_TRUE(items.result().ok()) << items.result().errorText().toStdString();
        return found;
    }

    static QStringList rangesOf(const Result& page)
    {
        QStringList found;
        for (const Item& item : page.items())
            found.append(text(item, "r"));
        EXPECT_TRUE(page.ok()) << page.errorText().toStdString();
        return found;
    }

    /** The range keys that query gives, each page behind the last key of the one before, and what their counts add up
     * to. */
    std::pair<QStringList, int> readByPages(QueryOptions options)
    {
        QStringList found;
        int count = 0;
        for (qsizetype pages = 0; pages < 2 * Ranges.size(); ++pages) {
            const Result page = connection_.query(table_, "k", options);
            found += rangesOf(page);
            options.countOnly = true;
            const Result counted = connection_.query(table_, "k", options);
            options.countOnly = false;
            EXPECT_FALSE(counted.reply().contains("Items"));
            EXPECT_EQ(counted.lastKey(), page.lastKey());
            count += counted.count();
            options.startKey = page.lastKey();
            if (!options.startKey)
                return {found, count};
        }
        ADD_FAILURE() << "there is no last page";
        return {found, count};
    }

    void expectQuery(QueryOptions options, const QStringList& expected)
    {
        for (const int limit : {0, 1, 2, 3, 5, 100}) {
            options.limit = limit;
            EXPECT_EQ(rangesOf(connection_.queryAll(table_, "k", options)), expected) << "limit " << limit;
        }
    }
};

} // namespace

TEST_F(LibraryItemRange, QueryGivesEveryItemOnceInOrderWhateverTheSizeOfThePages)
{
    putRanges();
    expectQuery({}, Ranges);
    expectQuery({.backward = true}, downwards(Ranges));
    EXPECT_EQ(rangesOf(connection_.queryAll(table_, "nobody")), QStringList());
}

TEST_F(LibraryItemRange, QueryMeetsItsConditionOnEveryPage)
{
    putRanges();
    expectQuery({.range = KeyCondition::equal("ab")}, {"ab"});
    expectQuery({.range = KeyCondition::equal("aa")}, {});
    expectQuery({.range = KeyCondition::less("a")}, {"A", "-5", "%%", ""});
    expectQuery({.range = KeyCondition::atMost("a")}, {"a", "A", "-5", "%%", ""});
    expectQuery({.range = KeyCondition::greater("ab")}, Ranges.mid(7));
    expectQuery({.range = KeyCondition::atLeast("ab")}, Ranges.mid(6));
    expectQuery({.range = KeyCondition::between("A", "ab")}, {"A", "a", "a a", "ab"});
    expectQuery({.range = KeyCondition::beginsWith("a")}, {"a", "a a", "ab", "abc"});
    expectQuery({.range = KeyCondition::beginsWith("a"), .backward = true}, {"abc", "ab", "a a", "a"});
    expectQuery({.range = KeyCondition::beginsWith("")}, Ranges);
    expectQuery({.range = KeyCondition::beginsWith(""), .backward = true}, downwards(Ranges));
    expectQuery({.range = KeyCondition::beginsWith("\u00ff")}, Ranges.mid(10));
    expectQuery({.range = KeyCondition::beginsWith("\u00ff"), .backward = true}, downwards(Ranges.mid(10)));
    expectQuery({.range = KeyCondition::beginsWith("zz")}, {});
}

TEST_F(LibraryItemRange, QueryBeginsBehindAStartKeyAndCutsItemsDown)
{
    putRanges();
    expectQuery({.startKey = Key{"k", "ab"}}, Ranges.mid(7));
    const KeyCondition prefix = KeyCondition::beginsWith("a");
    expectQuery({.range = prefix, .startKey = Key{"k", "a a"}}, {"ab", "abc"});
    expectQuery({.range = prefix, .startKey = Key{"k", "-5"}}, {"a", "a a", "ab", "abc"});
    expectQuery({.range = prefix, .startKey = Key{"k", "b"}}, {});
    expectQuery({.range = prefix, .backward = true, .startKey = Key{"k", "ab"}}, {"a a", "a"});
    expectQuery({.range = prefix, .backward = true, .startKey = Key{"k", "\u00ff"}}, {"abc", "ab", "a a", "a"});
    expectQuery({.range = prefix, .backward = true, .startKey = Key{"k", "-5"}}, {});
    ItemRange items = connection_.queryAll(table_, "k", {.limit = 1, .attributes = {"none"}, .countOnly = true});
    QList<Item> found;
    for (const Item& item : items)
        found.append(item);
    ASSERT_EQ(found.size(), Ranges.size());
    EXPECT_EQ(found[4], (Item{{"h", S("k")}, {"r", S("a")}}));
}

TEST_F(LibraryItemRange, ThePagesOfQueryAreWhatQueryAllGivesInTheSameOrder)
{
    for (const QString& range : Ranges.mid(1)) // all that a page can begin behind
        put("k", range);
    const auto startingWithA = KeyCondition::beginsWith("a");
    EXPECT_EQ(rangesOf(connection_.query(table_, "k", {.range = startingWithA, .backward = true})),
              (QStringList{"abc", "ab", "a a", "a"}));

    std::vector<QueryOptions> cases{{}, {.backward = true}};
    for (const bool backward : {false, true}) {
        for (const KeyCondition& range :
             {KeyCondition::equal("ab"), KeyCondition::less("b"), KeyCondition::atMost("b"), KeyCondition::greater("A"),
              KeyCondition::atLeast("A"), KeyCondition::between("A", "ab"), startingWithA, KeyCondition::beginsWith(""),
              KeyCondition::beginsWith("\u00ff"), KeyCondition::beginsWith("none")})
            cases.push_back({.range = range, .backward = backward});
    }
    for (QueryOptions options : cases) {
        const QStringList all = rangesOf(connection_.queryAll(table_, "k", options));
        const std::string trace = (options.range ? options.range->comparison() : QString()).toStdString() +
                                  (options.backward ? " backward" : "") + " limit ";
        for (const int limit : {1, 2, 3, 100}) {
            options.limit = limit;
            EXPECT_EQ(readByPages(options), std::pair(all, int(all.size()))) << trace << limit;
        }
    }
}

TEST_F(LibraryItemRange, ScanGivesEveryItemOnceWhateverTheSizeOfThePages)
{
    QSet<QString> keys;
    const auto putKey = [&](const QString& hash, const QString& range) {
        put(hash, range);
        keys.insert(hash + '/' + range);
    };
    for (const char* range : {"", "1", "2"})
        putKey("", range); // an empty hash key cannot be sent back as a start
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
    // Where the first loop stopped the second goes on, with the item under way.
    for (auto item = items.begin(); item != items.end(); item++)
        found.append(text(*item, "r"));
    QStringList expected = Ranges;
    expected.insert(3, Ranges[2]);
    EXPECT_EQ(found, expected);
    EXPECT_TRUE(items.begin() == items.end());
}

TEST_F(LibraryItemRange, GoesOnWhereItWasWhenItIsMoved)
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

/** Down from c, which somebody deleted, the server examines d first. */
TEST(LibraryItemRangeFromAServer, AsksForTheSamePageAgainWhenItEndedInFrontOfItsStart)
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
