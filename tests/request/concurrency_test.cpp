#include "support/tablefixture.h"

#include <thread>

namespace {

using testing::IsEmpty;

class Concurrency : public TableTest {
protected:
    explicit Concurrency(ServerProcess::Setup setup = {}) : TableTest(std::move(setup)) {}

    void SetUp() override
    {
        TableTest::SetUp();
        createTable(tableName());
    }

    /** Runs `work`, a `void(Caller&, int)` callable, on that many threads, each with its own connection. */
    template <typename Work> void onThreads(int count, Work work)
    {
        std::vector<Caller> callers;
        for (int i = 0; i < count; ++i)
            callers.emplace_back(server_);
        std::vector<std::thread> threads;
        for (int i = 0; i < count; ++i)
            threads.emplace_back([&, i] { work(callers[static_cast<std::size_t>(i)], i); });
        for (std::thread& thread : threads)
            thread.join();
    }

    QVariantMap addOne(const QString& hash, const QString& range) const
    {
        return {{"TableName", tableName()},
                {"Key", itemKey(hash, range)},
                {"AttributeUpdates", QVariantMap{{"n", QVariantMap{{"Action", "ADD"}, {"Value", numberValue("1")}}}}}};
    }
    /** No ERROR or CRIT lines: deadlocks are not failures. */
    std::vector<std::string> takeFailures()
    {
        return takeLines(
            [](const std::string& line) { return line.starts_with("[ERROR]") || line.starts_with("[CRIT]"); });
    }
};

TEST_F(Concurrency, EveryAddOfManyConnectionsCounts)
{
    constexpr int Threads = 16;
    constexpr int Adds = 25;
    constexpr int Counters = 3;
    onThreads(Threads, [&](Caller& caller, int) {
        for (int i = 0; i < Adds; ++i) {
            for (int counter = 0; counter < Counters; ++counter)
                EXPECT_EQ(caller.request("UpdateItem", addOne("k", QString::number(counter))), okReply());
        }
    });
    for (int counter = 0; counter < Counters; ++counter)
        EXPECT_EQ(get("k", QString::number(counter)),
                  okReply({{"Item", QVariantMap{{"n", numberValue(QString::number(Threads * Adds))}}}}));
    EXPECT_THAT(takeFailures(), IsEmpty());
}

TEST_F(Concurrency, OfManyConditionalPutsOneWins)
{
    constexpr int Threads = 12;
    constexpr int Items = 20;
    std::vector<std::vector<int>> won(Threads);
    onThreads(Threads, [&](Caller& caller, int thread) {
        for (int i = 0; i < Items; ++i) {
            const QVariantMap owner{{"owner", numberValue(QString::number(thread))}};
            const QVariantMap item = merged(owner, {{"h", textValue("k")}, {"r", textValue(QString::number(i))}});
            const QVariantMap reply =
                caller.request("PutItem", {{"TableName", tableName()},
                                           {"Item", item},
                                           {"Expected", QVariantMap{{"owner", QVariantMap{{"Exists", false}}}}}});
            if (reply == okReply({{"Attributes", owner}}))
                won[static_cast<std::size_t>(thread)].push_back(i);
            else
                EXPECT_EQ(reply, conditionFailedReply());
        }
    });
    std::vector<int> winners(Items, 0);
    for (int thread = 0; thread < Threads; ++thread) {
        for (const int i : won[static_cast<std::size_t>(thread)]) {
            ++winners[static_cast<std::size_t>(i)];
            EXPECT_EQ(get("k", QString::number(i)),
                      okReply({{"Item", QVariantMap{{"owner", numberValue(QString::number(thread))}}}}));
        }
    }
    EXPECT_THAT(winners, testing::Each(1));
    EXPECT_THAT(takeFailures(), IsEmpty());
}

/** Batches lock many items in list order; opposite orders, and single writes in between, deadlock. */
TEST_F(Concurrency, WritersInOppositeOrdersFinish)
{
    constexpr int Threads = 6;
    constexpr int Rounds = 12;
    constexpr int Hashes = 12;
    const auto batch = [&](bool upwards, const QString& text) {
        QVariantList entries;
        for (int i = 0; i < Hashes; ++i) {
            const QString hash = QString::number(upwards ? i : Hashes - 1 - i);
            const QVariantMap item{{"h", textValue(hash)}, {"r", textValue("1")}, {"a", textValue(text)}};
            entries.append(QVariantMap{{"PutRequest", QVariantMap{{"Item", item}}}});
        }
        return QVariantMap{{"RequestItems", QVariantMap{{tableName(), entries}}}};
    };
    onThreads(Threads, [&](Caller& caller, int thread) {
        for (int round = 0; round < Rounds; ++round) {
            const QString text = QString::number(thread) + '/' + QString::number(round);
            if (thread % 3 < 2) {
                EXPECT_EQ(caller.request("BatchWriteItem", batch(thread % 3 == 0, text)), okReply());
                continue;
            }
            for (int i = 0; i < Hashes; ++i)
                EXPECT_EQ(caller.request("UpdateItem", addOne(QString::number(i), "2")), okReply());
        }
    });
    QVariantList texts;
    for (int i = 0; i < Hashes; ++i) {
        const QVariantMap item = get(QString::number(i), "1").value("Item").toMap();
        EXPECT_EQ(item.size(), 1);
        texts.append(item.value("a"));
        EXPECT_EQ(get(QString::number(i), "2"),
                  okReply({{"Item", QVariantMap{{"n", numberValue(QString::number(Threads / 3 * Rounds))}}}}));
    }
    EXPECT_THAT(texts, testing::Each(texts.first())); // the last batch is there in full
    EXPECT_THAT(takeFailures(), IsEmpty());
}

TEST_F(Concurrency, ManyNewKeysOfOnePartitionFinish)
{
    constexpr int Threads = 16;
    constexpr int Keys = 40;
    const QVariantMap attributes{{"a", textValue(QString(300, 'x'))}};
    onThreads(Threads, [&](Caller& caller, int thread) {
        for (int i = 0; i < Keys; ++i) {
            const QVariantMap item =
                merged(attributes,
                       {{"h", textValue("k")}, {"r", textValue(QString::number(i) + '/' + QString::number(thread))}});
            EXPECT_EQ(caller.request("PutItem", {{"TableName", tableName()}, {"Item", item}}),
                      okReply({{"Attributes", attributes}}));
        }
    });
    for (int thread = 0; thread < Threads; ++thread) {
        for (int i = 0; i < Keys; ++i)
            EXPECT_EQ(get("k", QString::number(i) + '/' + QString::number(thread)), okReply({{"Item", attributes}}));
    }
    EXPECT_THAT(takeFailures(), IsEmpty());
}

TEST_F(Concurrency, WritesOfLargeItemsFinish)
{
    constexpr int Threads = 6;
    constexpr int Rounds = 6;
    onThreads(Threads, [&](Caller& caller, int thread) {
        for (int i = 0; i < Rounds; ++i) {
            const QVariantMap attributes{{"a", textValue(QString(20000 + 1000 * thread + i, 'x'))}};
            const QVariantMap item =
                merged(attributes, {{"h", textValue("k")}, {"r", textValue(QString::number(i % 3))}});
            EXPECT_EQ(
                caller.request("PutItem", {{"TableName", tableName()}, {"Item", item}, {"Expected", QVariantMap()}}),
                okReply({{"Attributes", attributes}}));
            EXPECT_EQ(caller.request("DeleteItem",
                                     {{"TableName", tableName()}, {"Key", itemKey("k", QString::number(i % 3))}}),
                      okReply());
        }
    });
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(get("k", QString::number(i)), okReply());
    EXPECT_THAT(takeFailures(), IsEmpty());
}

/** Concurrent requests that are the first to open databases, environments and tables. */
TEST_F(Concurrency, ConcurrentFirstUsesOfManyTables)
{
    constexpr int Threads = 12;
    constexpr int Tables = 6;
    std::vector<std::string> homes;
    for (int i = 0; i < Tables; ++i)
        homes.push_back(makeDirectory("env" + std::to_string(i % 3)));
    const auto nameOf = [&](int i) { return tableIn(homes[static_cast<std::size_t>(i)], "t" + QString::number(i)); };
    onThreads(Threads, [&](Caller& caller, int thread) {
        for (int i = 0; i < Tables; ++i) {
            const QVariantMap table{{"TableName", nameOf((i + thread) % Tables)}};
            const QVariantMap reply = caller.request(
                "CreateTable", merged(table, {{"KeySchema", keySchema()}, {"ProvisionedThroughput", throughput()}}));
            EXPECT_EQ(reply.value("__rc"), QVariant(200LL)) << testing::PrintToString(reply);
            const QVariantMap item{{"h", textValue(QString::number(thread))}, {"r", textValue("1")}};
            EXPECT_EQ(caller.request("PutItem", merged(table, {{"Item", item}})),
                      okReply({{"Attributes", QVariantMap()}}));
        }
    });
    for (int i = 0; i < Tables; ++i) {
        for (int thread = 0; thread < Threads; ++thread)
            EXPECT_EQ(request("GetItem", {{"TableName", nameOf(i)}, {"Key", itemKey(QString::number(thread), "1")}}),
                      okReply({{"Item", QVariantMap()}}));
    }
    EXPECT_THAT(takeFailures(), IsEmpty());
}

/** A server with few threads of one kind or both. */
class FewThreads : public Concurrency, public testing::WithParamInterface<std::vector<std::string>> {
protected:
    FewThreads() : Concurrency(ServerProcess::Setup{.arguments = GetParam()}) {}
};

TEST_P(FewThreads, ShortAndLongRequestsOfManyConnectionsAreAllServed)
{
    constexpr int Threads = 8;
    constexpr int Rounds = 20;
    onThreads(Threads, [&](Caller& caller, int thread) {
        const QVariantMap table{{"TableName", tableName()}};
        for (int i = 0; i < Rounds; ++i) {
            const QString hash = QString::number(thread * Rounds + i); // each opens partitions
            const QVariantMap item{{"h", textValue(hash)}, {"r", textValue("1")}};
            EXPECT_EQ(caller.request("PutItem", merged(table, {{"Item", item}})),
                      okReply({{"Attributes", QVariantMap()}}));
            EXPECT_EQ(caller.request("UpdateItem", addOne(hash, "1")), okReply());
            EXPECT_EQ(caller.request("GetItem", merged(table, {{"Key", itemKey(hash, "1")}})),
                      okReply({{"Item", QVariantMap{{"n", numberValue("1")}}}}));
            EXPECT_EQ(caller.request("DescribeTable", table).value("__rc"), 200);
        }
        EXPECT_EQ(caller.request("Scan", merged(table, {{"Limit", 1}})).value("Count"), 1);
    });
    const QVariantMap all{{"TableName", tableName()}, {"Limit", 1000}, {"Count", true}};
    EXPECT_EQ(request("Scan", all).value("Count"), Threads * Rounds);
    EXPECT_THAT(takeFailures(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Server, FewThreads,
                         testing::Values(std::vector<std::string>{"-w", "1"}, std::vector<std::string>{"-m", "1"},
                                         std::vector<std::string>{"-w", "1", "-m", "1"},
                                         std::vector<std::string>{"-w", "2", "-m", "2"}));

} // namespace
