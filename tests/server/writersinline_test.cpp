/*
 * Writers of the same partitions, many at once: one after the other, so that none deadlocks with another, and exactly.
 */
#include "support/tablefixture.h"

#include <algorithm>
#include <atomic>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

/** What the writers share: a few partitions of two tables. */
class WritersInLine : public TableTest {
protected:
    static constexpr int Writers = 16;
    static constexpr int Hashes = 3;
    static constexpr int Ranges = 8;

    WritersInLine() : TableTest({.arguments = {"-m", "24"}}) {}

    void SetUp() override
    {
        TableTest::SetUp();
        for (const char* table : {"t", "u"}) {
            createTable(tableName(table));
            for (int i = 0; i < Hashes; ++i) // makes the files: an environment's first requests wait for them
                EXPECT_EQ(
                    request("PutItem", {{"TableName", tableName(table)}, {"Item", itemOf(i, 0, 0)}}).value("__rc"),
                    QVariant(200LL));
        }
    }

    static QString hash(int number) { return "h" + QString::number(number); }

    /** Large enough for many splits. */
    static QVariantMap itemOf(int hashNumber, int range, int mark)
    {
        return {{"h", textValue(hash(hashNumber))},
                {"r", textValue(QString::number(range))},
                {"mark", numberValue(QString::number(mark))},
                {"fill", textValue(QString(300 + range * 20, 'f'))}};
    }

    /** All items of both tables, in the order of `random`, so that a batch names each partition over and over. */
    QVariantMap batchOf(int mark, int tables, std::minstd_rand* random) const
    {
        QVariantMap result;
        for (const char* table : {"t", "u"}) {
            if (tables-- == 0)
                break;
            std::vector<QVariantMap> items;
            for (int i = 0; i < Hashes; ++i) {
                for (int range = 0; range < Ranges; ++range)
                    items.push_back(itemOf(i, range, mark));
            }
            std::shuffle(items.begin(), items.end(), *random);
            QVariantList entries;
            for (const QVariantMap& item : items)
                entries.append(QVariantMap{{"PutRequest", QVariantMap{{"Item", item}}}});
            result.insert(tableName(table), entries);
        }
        return {{"RequestItems", result}};
    }

    /** Runs `work`, with a connection and random numbers of its own, in every writer's thread. */
    template <typename Work> void inAllWriters(Work work)
    {
        std::vector<std::thread> threads;
        for (int i = 0; i < Writers; ++i) {
            threads.emplace_back([&, i] {
                Caller caller(server_);
                std::minstd_rand random(static_cast<unsigned>(i) + 1);
                work(i, caller, random);
            });
        }
        for (std::thread& thread : threads)
            thread.join();
    }

    void expectNoDeadlock() const
    {
        EXPECT_EQ(server_.logText().find("deadlock"), std::string::npos) << server_.logText();
        EXPECT_EQ(server_.logText().find("rc -30993"), std::string::npos) << server_.logText();
    }
};

TEST_F(WritersInLine, NeverDeadlockWithEachOther)
{
    constexpr int Rounds = 25;
    inAllWriters([&](int writer, Caller& caller, std::minstd_rand& random) {
        for (int round = 0; round < Rounds; ++round) {
            const int mark = writer * Rounds + round;
            const QVariantMap batch = batchOf(mark, 1 + round % 2, &random);
            EXPECT_EQ(caller.request("BatchWriteItem", batch), okReply());
            const QVariantMap single = itemOf(round % Hashes, 1000 + mark, mark);
            EXPECT_EQ(caller.request("PutItem", {{"TableName", tableName("u")}, {"Item", single}}).value("__rc"),
                      QVariant(200LL));
            EXPECT_EQ(
                caller.request("DeleteItem", {{"TableName", tableName()},
                                              {"Key", itemKey(hash(round % Hashes), QString::number(2000 + mark))}}),
                okReply());
        }
    });
    expectNoDeadlock();
    // Whole batches, one after the other: all items of a table are those of the same one.
    for (const char* table : {"t", "u"}) {
        std::set<QString> marks;
        int found = 0;
        for (int i = 0; i < Hashes; ++i) {
            const QVariantMap reply = request(
                "Query", {{"TableName", tableName(table)}, {"HashKeyValue", textValue(hash(i))}, {"Limit", 9999}});
            for (const QVariant& entry : reply.value("Items").toList()) {
                const QVariantMap item = entry.toMap();
                ++found;
                if (item.value("r").toMap().value("S").toString().toInt() < Ranges)
                    marks.insert(item.value("mark").toMap().value("N").toString());
            }
        }
        EXPECT_EQ(marks.size(), 1U) << table;
        EXPECT_EQ(found, Hashes * Ranges + (*table == 'u' ? Writers * Rounds : 0)) << table;
    }
}

TEST_F(WritersInLine, CountExactlyAndWinEachConditionOnce)
{
    constexpr int Rounds = 60;
    std::atomic<int> won{0};
    const QVariantMap key{{"TableName", tableName()}, {"Key", itemKey(hash(0), "counted")}};
    const QVariantMap one{{"Action", "ADD"}, {"Value", numberValue("1")}};
    const auto numberIn = [](const QVariantMap& item, const char* name) {
        return item.value(QLatin1String(name)).toMap().value("N").toString();
    };
    std::vector<std::set<int>> shown(Writers);
    inAllWriters([&](int writer, Caller& caller, std::minstd_rand& random) {
        for (int round = 0; round < Rounds; ++round) {
            const QVariantMap reply = caller.request(
                "UpdateItem",
                merged(key, {{"AttributeUpdates", QVariantMap{{"count", one}}}, {"ReturnValues", "UPDATED_NEW"}}));
            shown[static_cast<std::size_t>(writer)].insert(
                numberIn(reply.value("Attributes").toMap(), "count").toInt());
            // Beside batches in the same partition, and for one version at a time.
            if (round % 10 == 0) {
                EXPECT_EQ(caller.request("BatchWriteItem", batchOf(round, 2, &random)), okReply());
            }
            const QVariantMap present = caller.request("GetItem", key).value("Item").toMap();
            const QVariantMap version = present.contains("version") ? QVariantMap{{"Value", present.value("version")}}
                                                                    : QVariantMap{{"Exists", false}};
            const QString next = QString::number(numberIn(present, "version").toInt() + 1);
            const QVariantMap refusedOrDone = caller.request(
                "UpdateItem",
                merged(key, {{"AttributeUpdates",
                              QVariantMap{{"version", QVariantMap{{"Action", "PUT"}, {"Value", numberValue(next)}}}}},
                             {"Expected", QVariantMap{{"version", version}}}}));
            if (refusedOrDone == okReply())
                ++won;
            else
                EXPECT_EQ(refusedOrDone, conditionFailedReply());
        }
    });
    const QVariantMap item = request("GetItem", key).value("Item").toMap();
    EXPECT_EQ(numberIn(item, "count"), QString::number(Writers * Rounds));
    EXPECT_EQ(numberIn(item, "version"), QString::number(won));
    EXPECT_GT(won, 0);
    std::set<int> all;
    for (const std::set<int>& numbers : shown)
        all.insert(numbers.begin(), numbers.end());
    EXPECT_EQ(all.size(), static_cast<std::size_t>(Writers * Rounds)) << "each count was shown to one writer";
    expectNoDeadlock();
}

} // namespace
