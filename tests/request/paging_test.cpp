#include "scanqueryfixture.h"

#include <atomic>
#include <functional>
#include <thread>

namespace {

/** Whatever the page size, each item is returned once, even while other clients write other items. */
class PagingTest : public ScanQueryTest {
protected:
    /** All items of a sequence of pages, each of which must respect the limit. */
    static QVariantList readAll(Caller& caller, const QByteArray& operation, const QVariantMap& fields, int limit)
    {
        QVariantList items;
        QVariantMap body = merged(fields, {{"Limit", limit}});
        for (;;) {
            const QVariantMap reply = caller.request(operation, body);
            EXPECT_EQ(reply.value("__rc"), QVariant(200)) << testing::PrintToString(reply);
            const QVariantList page = reply.value("Items").toList();
            EXPECT_LE(page.size(), limit);
            EXPECT_EQ(reply.value("Count"), QVariant(page.size()));
            items += page;
            if (!reply.contains("LastEvaluatedKey"))
                return items;
            if (reply.value("__rc") != QVariant(200) || items.size() > 100000) {
                ADD_FAILURE() << "the pages do not end";
                return items;
            }
            body.insert("ExclusiveStartKey", startBehind(reply.value("LastEvaluatedKey")));
        }
    }

    /** The sum of the counts when the pages return counts only. */
    static qlonglong countAll(Caller& caller, const QByteArray& operation, const QVariantMap& fields, int limit)
    {
        qlonglong count = 0;
        QVariantMap body = merged(fields, {{"Limit", limit}, {"Count", true}});
        for (;;) {
            const QVariantMap reply = caller.request(operation, body);
            EXPECT_FALSE(reply.contains("Items"));
            count += reply.value("Count").toLongLong();
            if (!reply.contains("LastEvaluatedKey"))
                return count;
            body.insert("ExclusiveStartKey", startBehind(reply.value("LastEvaluatedKey")));
        }
    }

    /** Puts and deletes items among the others, one at a time and in batches, while `reading` runs. */
    void whileWriting(const QStringList& hashes, const std::function<void()>& reading)
    {
        std::atomic<bool> done = false;
        std::atomic<int> writes = 0;
        std::vector<std::thread> writers;
        for (int writer = 0; writer < 3; ++writer) {
            writers.emplace_back([&, writer] {
                Caller caller(server_);
                for (int n = 0; !done; ++n) {
                    const QString hash = hashes.at((n / 7 + writer) % hashes.size());
                    // Between the range keys "000", "001", ... of the permanent items.
                    const QString range = QString("%1w%2").arg(n % 40, 3, 10, QChar('0')).arg(writer);
                    const QVariantMap item = itemOf(hash, range, {{"w", textValue(QString(n % 300, 'w'))}});
                    QVariantMap reply;
                    if (n % 5 == 4) {
                        const QVariantList entries{putEntry(itemOf(hash, range + 'x')), deleteEntry(hash, range),
                                                   putEntry(itemOf(hash, range + 'y'))};
                        reply =
                            caller.request("BatchWriteItem", {{"RequestItems", QVariantMap{{tableName(), entries}}}});
                    } else if (n % 2 == 0) {
                        reply = caller.request("PutItem", {{"TableName", tableName()}, {"Item", item}});
                    } else {
                        reply =
                            caller.request("DeleteItem", {{"TableName", tableName()}, {"Key", itemKey(hash, range)}});
                    }
                    EXPECT_EQ(reply.value("__rc"), QVariant(200)) << testing::PrintToString(reply);
                    ++writes;
                }
            });
        }
        EXPECT_TRUE(waitUntil([&] { return writes >= 30; }));
        reading();
        done = true;
        for (std::thread& writer : writers)
            writer.join();
    }

    /** The items that no writer changes. */
    static QVariantList withoutWritten(const QVariantList& items)
    {
        QVariantList kept;
        for (const QVariant& item : items) {
            if (!item.toMap().value("r").toMap().value("S").toString().contains('w'))
                kept.append(item);
        }
        return kept;
    }

    static QVariantList itemsOf(const QString& hash, int count)
    {
        QVariantList items;
        for (int n = 0; n < count; ++n)
            items.append(
                itemOf(hash, QString("%1").arg(n, 3, 10, QChar('0')), {{"n", numberValue(QString::number(n))}}));
        return items;
    }

    const QVariantMap table_{{"TableName", tableName()}};
    /** For scans of few items. */
    const QVariantMap fromLater_ = merged(table_, {{"ExclusiveStartKey", itemKey(hashIn(249), "")}});
};

TEST_F(PagingTest, ScanWithEveryLimit)
{
    QVariantList items;
    for (const int partition : {249, 250, 252, 254, 255}) {
        items += itemsOf(hashIn(partition), 3);
        items += itemsOf(hashIn(partition, 1), 2);
    }
    putItems(items);
    // Hash keys of the same length are ordered by their text; shorter ones come first.
    std::sort(items.begin(), items.end(), [](const QVariant& a, const QVariant& b) {
        const auto place = [](const QVariant& item) {
            const QString hash = item.toMap().value("h").toMap().value("S").toString();
            const QString range = item.toMap().value("r").toMap().value("S").toString();
            return std::tuple(partitionOfHash(hash), hash.size(), hash, range);
        };
        return place(a) < place(b);
    });
    Caller caller(server_);
    for (int limit = 1; limit <= static_cast<int>(items.size()) + 1; ++limit) {
        EXPECT_EQ(readAll(caller, "Scan", fromLater_, limit), items) << limit;
        EXPECT_EQ(countAll(caller, "Scan", fromLater_, limit), items.size()) << limit;
    }
    const QVariantMap filter{{"ScanFilter", QVariantMap{{"r", condition("GE", {"001"})}}}};
    for (const int limit : {1, 2, 7, 100})
        EXPECT_EQ(readAll(caller, "Scan", merged(fromLater_, filter), limit).size(), 15) << limit;
}

TEST_F(PagingTest, QueryWithEveryLimitInBothDirections)
{
    const QVariantList items = itemsOf("q", 12);
    QVariantList reversed = items;
    std::reverse(reversed.begin(), reversed.end());
    putItems(items + itemsOf("p", 3) + itemsOf("qq", 3));
    const QVariantMap asked = merged(table_, {{"HashKeyValue", textValue("q")}});
    Caller caller(server_);
    for (int limit = 1; limit <= 13; ++limit) {
        EXPECT_EQ(readAll(caller, "Query", asked, limit), items) << limit;
        EXPECT_EQ(readAll(caller, "Query", merged(asked, {{"ScanIndexForward", false}}), limit), reversed) << limit;
        EXPECT_EQ(countAll(caller, "Query", asked, limit), 12) << limit;
        const QVariantMap lower{{"RangeKeyCondition", condition("LT", {"005"})}};
        EXPECT_EQ(readAll(caller, "Query", merged(asked, lower), limit), reversed.mid(7)) << limit;
        const QVariantMap between{{"RangeKeyCondition", condition("BETWEEN", {"003", "007"})}};
        EXPECT_EQ(readAll(caller, "Query", merged(asked, between), limit), items.mid(3, 5)) << limit;
    }
}

TEST_F(PagingTest, PagesContinueWhenTheirLastItemWasDeleted)
{
    putItems(itemsOf("q", 9));
    const QVariantMap asked = merged(table_, {{"HashKeyValue", textValue("q")}, {"Limit", 3}});
    QVariantMap reply = request("Query", asked);
    EXPECT_EQ(reply.value("Items").toList(), itemsOf("q", 9).mid(0, 3));
    EXPECT_EQ(remove("q", "002").value("__rc"), QVariant(200));
    reply = request("Query", merged(asked, {{"ExclusiveStartKey", startBehind(reply.value("LastEvaluatedKey"))}}));
    EXPECT_EQ(reply.value("Items").toList(), itemsOf("q", 9).mid(3, 3));

    const QVariantMap scanned{{"ExclusiveStartKey", itemKey("q", "005")}, {"Limit", 3}};
    EXPECT_EQ(remove("q", "005").value("__rc"), QVariant(200));
    EXPECT_EQ(scan(scanned).value("Items").toList(), itemsOf("q", 9).mid(6, 3));
}

TEST_F(PagingTest, ScanWhileOthersWrite)
{
    const QStringList hashes{hashIn(251), hashIn(251, 1), hashIn(254), hashIn(255)};
    QVariantList items;
    for (const QString& hash : hashes)
        items += itemsOf(hash, 40);
    putItems(items);
    whileWriting(hashes, [&] {
        Caller caller(server_);
        for (const int limit : {1, 2, 3, 7, 40, 1000})
            EXPECT_EQ(withoutWritten(readAll(caller, "Scan", fromLater_, limit)), items) << limit;
    });
}

TEST_F(PagingTest, QueryWhileOthersWrite)
{
    const QVariantList items = itemsOf("q", 40);
    QVariantList reversed = items;
    std::reverse(reversed.begin(), reversed.end());
    putItems(items);
    const QVariantMap asked = merged(table_, {{"HashKeyValue", textValue("q")}});
    whileWriting({"q"}, [&] {
        Caller caller(server_);
        for (const int limit : {1, 2, 3, 7, 40, 1000}) {
            EXPECT_EQ(withoutWritten(readAll(caller, "Query", asked, limit)), items) << limit;
            // Downward, a page that continues from a key deleted in the meantime starts with the next greater key, so
            // an item may be repeated at the page boundary; none is ever missed.
            const QVariantList down =
                withoutWritten(readAll(caller, "Query", merged(asked, {{"ScanIndexForward", false}}), limit));
            QVariantList once;
            for (const QVariant& item : down) {
                if (once.isEmpty() || once.last() != item)
                    once.append(item);
            }
            EXPECT_EQ(once, reversed) << limit;
        }
    });
}

} // namespace
