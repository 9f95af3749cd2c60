#include "client/itemreader.h"

#include "client/rangecondition.h"
#include "protocol/bodies.h"

#include <gtest/gtest.h>

#include <QStringList>

#include <utility>
#include <vector>

namespace {

using namespace Qt::StringLiterals;

QVariantMap itemWith(const QString& range)
{
    return {{u"h"_s, Bodies::stringValue(u"k"_s)}, {u"r"_s, Bodies::stringValue(range)}};
}

/** A page with these items, and the range key after which the next one begins; null if it is the last. */
QVariantMap page(const QStringList& ranges, const QString& last = {})
{
    QVariantList items;
    for (const QString& range : ranges)
        items.append(itemWith(range));
    QVariantMap reply{{u"Count"_s, qlonglong{items.size()}}, {u"Items"_s, items}};
    if (!last.isNull())
        reply.insert(u"LastEvaluatedKey"_s, QVariantMap{{u"HashKeyElement"_s, u"k"_s}, {u"RangeKeyElement"_s, last}});
    return reply;
}

QVariantMap description()
{
    return {{u"Table"_s, Bodies::createTable(u"/d|t"_s, u"h"_s, u"r"_s)}};
}

/** Answers one request after another with these replies; fails when there are none left. */
class Replies {
public:
    explicit Replies(std::vector<QVariantMap> replies) : replies_(std::move(replies)) {}

    Client::Exchange exchange()
    {
        return [this](const Operations::Operation& operation, const QVariantMap& body, QVariantMap* reply) {
            asked.emplace_back(operation.name, body);
            if (asked.size() > replies_.size())
                return false;
            *reply = replies_[asked.size() - 1];
            return true;
        };
    }

    QVariant member(std::size_t request, const QString& name) const { return asked.at(request).second.value(name); }

    std::vector<std::pair<std::string_view, QVariantMap>> asked;

private:
    const std::vector<QVariantMap> replies_;
};

QStringList rangesOf(Client::ItemReader* reader)
{
    QStringList ranges;
    while (reader->next())
        ranges.append(reader->item().value(u"r"_s).toMap().value(u"S"_s).toString());
    return ranges;
}

const QVariantMap Scan = Bodies::table(u"/d|t"_s);

QVariantMap query(bool down, const QVariantMap& condition = {})
{
    QVariantMap body = Bodies::query(u"/d|t"_s, u"k"_s);
    body.insert(u"ScanIndexForward"_s, !down);
    if (!condition.isEmpty())
        body.insert(u"RangeKeyCondition"_s, condition);
    return body;
}

const QVariantMap BeginsWithA = Bodies::condition(u"BEGINS_WITH"_s, {u"a"_s});

} // namespace

TEST(ItemReader, ReadsPageAfterPage)
{
    Replies replies({page({u"a"_s, u"b"_s}, u"b"_s), page({}, u"c"_s), page({u"d"_s})});
    Client::ItemReader reader(replies.exchange(), Operations::Scan, Scan, 2);
    EXPECT_TRUE(replies.asked.empty()) << "nothing is read before it is asked for";
    EXPECT_EQ(rangesOf(&reader), (QStringList{u"a"_s, u"b"_s, u"d"_s}));
    EXPECT_FALSE(reader.next());
    ASSERT_EQ(replies.asked.size(), 3U) << "nothing is read behind the end";
    EXPECT_EQ(replies.asked[0].first, "Scan");
    EXPECT_EQ(replies.asked[0].second, (QVariantMap{{u"TableName"_s, u"/d|t"_s}, {u"Limit"_s, 2}}));
    EXPECT_EQ(replies.member(1, u"ExclusiveStartKey"_s), Bodies::key(u"k"_s, u"b"_s));
    EXPECT_EQ(replies.member(2, u"ExclusiveStartKey"_s), Bodies::key(u"k"_s, u"c"_s));
}

TEST(ItemReader, EndsWhereAnExchangeFails)
{
    Replies replies({page({u"a"_s}, u"a"_s)});
    Client::ItemReader reader(replies.exchange(), Operations::Scan, Scan, 1);
    EXPECT_EQ(rangesOf(&reader), QStringList{u"a"_s});
    EXPECT_FALSE(reader.next());
    EXPECT_EQ(replies.asked.size(), 2U) << "a failed request is not sent again";
}

TEST(ItemReader, GivesItemsOfAPageThatIsReadAgainOnce)
{
    // Items whose range keys differ only after a zero byte look alike.
    Replies replies({page({u"a"_s}, u""_s), page({u"a"_s, u"a"_s}, u""_s), page({u"a"_s, u"a"_s, u"a"_s, u"b"_s})});
    Client::ItemReader reader(replies.exchange(), Operations::Query, query(false), 1);
    EXPECT_EQ(rangesOf(&reader), (QStringList{u"a"_s, u"a"_s, u"a"_s, u"b"_s}));
    ASSERT_EQ(replies.asked.size(), 3U);
    EXPECT_EQ(replies.member(1, u"Limit"_s), 2);
    EXPECT_EQ(replies.member(2, u"Limit"_s), 4);
}

TEST(ItemReader, AQueryDownAsksForAllKeysDown)
{
    Replies replies({page({u"b"_s})});
    Client::ItemReader reader(replies.exchange(), Operations::Query, query(true), 0);
    EXPECT_EQ(rangesOf(&reader), QStringList{u"b"_s});
    EXPECT_EQ(replies.member(0, u"RangeKeyCondition"_s), Client::allKeysDown());
    EXPECT_EQ(replies.member(0, u"Limit"_s), 128);
}

TEST(ItemReader, AQueryForOneKeyHasOnePage)
{
    Replies replies({page({u"b"_s}, u"b"_s)});
    Client::ItemReader reader(replies.exchange(), Operations::Query, query(false, Bodies::condition(u"EQ"_s, {u"b"_s})),
                              1);
    EXPECT_EQ(rangesOf(&reader), QStringList{u"b"_s});
    EXPECT_EQ(replies.asked.size(), 1U);
}

TEST(ItemReader, APrefixUpIsARangeOfKeys)
{
    Replies replies({page({u"a"_s}, u"a"_s), page({u"ab"_s})});
    Client::ItemReader reader(replies.exchange(), Operations::Query, query(false, BeginsWithA), 1);
    EXPECT_EQ(rangesOf(&reader), (QStringList{u"a"_s, u"ab"_s}));
    ASSERT_EQ(replies.asked.size(), 2U);
    EXPECT_EQ(replies.member(1, u"RangeKeyCondition"_s), Client::keysWithPrefix(u"a"_s, false));
}

TEST(ItemReader, APrefixDownEndsAtTheFirstKeyWithoutIt)
{
    Replies replies({description(), page({u"ab"_s}, u"ab"_s), page({u"a"_s, u"A"_s, u"0"_s}, u"0"_s)});
    Client::ItemReader reader(replies.exchange(), Operations::Query, query(true, BeginsWithA), 3);
    EXPECT_EQ(rangesOf(&reader), (QStringList{u"ab"_s, u"a"_s}));
    ASSERT_EQ(replies.asked.size(), 3U);
    EXPECT_EQ(replies.asked[0], std::pair(std::string_view("DescribeTable"), Scan));
    EXPECT_EQ(replies.member(1, u"RangeKeyCondition"_s), Client::keysWithPrefix(u"a"_s, true));

    Replies none({});
    Client::ItemReader refused(none.exchange(), Operations::Query, query(true, BeginsWithA), 3);
    EXPECT_FALSE(refused.next());
    EXPECT_EQ(none.asked.size(), 1U) << "without the range key's name there is no query";
}

TEST(ItemReader, TheFirstPageIsTheServersReply)
{
    const QVariantMap reply = page({u"a"_s, u"b"_s}, u"b"_s);
    Replies replies({reply});
    Client::ItemReader reader(replies.exchange(), Operations::Query, query(false), 2);
    QVariantMap first;
    ASSERT_TRUE(reader.readFirstPage(&first));
    EXPECT_EQ(first, reply);
    EXPECT_EQ(replies.asked.size(), 1U);

    Client::ItemReader failing(replies.exchange(), Operations::Query, query(false), 2);
    EXPECT_FALSE(failing.readFirstPage(&first));
    EXPECT_EQ(first, reply);
}

TEST(ItemReader, TheFirstPageEndsWithTheLastItemOfTheWhole)
{
    QVariantMap first;
    Replies prefix({description(), page({u"ab"_s, u"a"_s, u"A"_s}, u"A"_s)});
    Client::ItemReader down(prefix.exchange(), Operations::Query, query(true, BeginsWithA), 3);
    ASSERT_TRUE(down.readFirstPage(&first));
    EXPECT_EQ(first, page({u"ab"_s, u"a"_s}));

    Replies single({page({u"b"_s}, u"b"_s)});
    Client::ItemReader equal(single.exchange(), Operations::Query, query(false, Bodies::condition(u"EQ"_s, {u"b"_s})),
                             1);
    ASSERT_TRUE(equal.readFirstPage(&first));
    EXPECT_EQ(first, page({u"b"_s}));
}

TEST(ItemReader, AFirstPageThatLeadsNowhereIsReadAgain)
{
    // Going down from a key that does not exist, the server examines the next greater one first.
    Replies replies({description(), page({}, u"b"_s), page({u"ab"_s}, u"ab"_s)});
    Client::ItemReader reader(replies.exchange(), Operations::Query, query(true, BeginsWithA), 1);
    QVariantMap first;
    ASSERT_TRUE(reader.readFirstPage(&first));
    EXPECT_EQ(first, page({u"ab"_s}, u"ab"_s));
    ASSERT_EQ(replies.asked.size(), 3U);
    EXPECT_EQ(replies.member(2, u"Limit"_s), 2);

    const QVariantMap empty = page({u""_s}, u""_s);
    Replies found({empty});
    Client::ItemReader up(found.exchange(), Operations::Query, query(false), 1);
    ASSERT_TRUE(up.readFirstPage(&first));
    EXPECT_EQ(first, empty) << "a page with items has no more than the limit";
}

TEST(ItemReader, TheFirstPageOfACountHasNoItems)
{
    QVariantMap count = query(false);
    count.insert(u"Count"_s, true);
    const QVariantMap counted{{u"Count"_s, 2LL}};
    Replies replies({counted});
    Client::ItemReader reader(replies.exchange(), Operations::Query, count, 0);
    QVariantMap first;
    ASSERT_TRUE(reader.readFirstPage(&first));
    EXPECT_EQ(first, counted);
    EXPECT_EQ(replies.member(0, u"Count"_s), true) << "the server does not send the items either";

    count = query(true, BeginsWithA);
    count.insert(u"Count"_s, true);
    Replies prefix({description(), page({u"ab"_s, u"a"_s, u"A"_s}, u"A"_s)});
    Client::ItemReader down(prefix.exchange(), Operations::Query, count, 0);
    ASSERT_TRUE(down.readFirstPage(&first));
    EXPECT_EQ(first, counted);
}
