#include "itemfixture.h"

#include <atomic>
#include <thread>
#include <vector>

namespace {

class ApiConcurrency : public ApiItems {
protected:
    static constexpr int Clients = 64;

    /** Runs the work of all clients concurrently. */
    template <typename Work> void inAllClients(Work&& work) const
    {
        std::vector<std::thread> threads;
        for (int client = 0; client < Clients; ++client)
            threads.emplace_back([&, client] { work(client); });
        for (std::thread& thread : threads)
            thread.join();
    }

    /** The range key of the item "a", 1 at the server. */
    QString storedRange()
    {
        const QVariantMap reply =
            server_.request("Query", {{"TableName", table()}, {"HashKeyValue", QVariantMap{{"S", "a"}}}});
        return reply.value("Items").toList().value(0).toMap().value("ax").toMap().value("S").toString();
    }
    QString table() const { return QString::fromStdString(directory_.path() + "|items"); }

    /** Whether a client was late for seconds, and nothing was changed. */
    static bool isConflict(const Api::Reply& reply) { return reply.body.contains("#TransactionConflictException"); }

    std::string numberOf(const std::string& name) const
    {
        return parsed(attributesOf("a", "1"))
            .value(QString::fromStdString(name))
            .toMap()
            .value("N")
            .toString()
            .toStdString();
    }
};

} // namespace

TEST_F(ApiConcurrency, NoIncrementIsLost)
{
    constexpr int Each = 10;
    inAllClients([&](int client) {
        const std::string request = body(key("a", "1") + R"(,"UpdateExpression":"ADD tally :one, #own :one",)" +
                                         R"("ExpressionAttributeNames":{"#own":"w)" + std::to_string(client) +
                                         R"("},"ExpressionAttributeValues":{":one":{"N":"0.1"}})");
        for (int made = 0; made < Each && !HasFailure();) {
            const Api::Reply reply = call("UpdateItem", request);
            made += reply.status == 200;
            EXPECT_TRUE(reply.status == 200 || isConflict(reply)) << reply.body.toStdString();
        }
    });
    EXPECT_EQ(numberOf("tally"), std::to_string(Clients * Each / 10));
    for (int client = 0; client < Clients; ++client)
        EXPECT_EQ(numberOf("w" + std::to_string(client)), std::to_string(Each / 10));
}

/** The other computes and commits as well, but does not wait at the gates of this process. */
TEST_F(ApiConcurrency, NoIncrementIsLostBesideAnotherProgram)
{
    (void)done("PutItem", put("a", "1", R"("tally":{"N":"0"},"side":{"N":"0"})"));
    const QVariantMap address{{"TableName", table()},
                              {"Key", QVariantMap{{"HashKeyElement", QVariantMap{{"S", "a"}}},
                                                  {"RangeKeyElement", QVariantMap{{"S", storedRange()}}}}}};
    std::atomic<bool> isOver{false};
    int others = 0;
    std::thread other([&] {
        while (!isOver) {
            const QVariantMap item = server_.request("GetItem", address).value("Item").toMap();
            QVariantMap changed = item;
            changed.insert("side", QVariantMap{{"N", QString::number(others + 1)}});
            QVariantMap entry = address;
            entry.insert("Expected", QVariantMap{{"Item", item}});
            entry.insert("Put", changed);
            others += server_.request("Quorva_1.Commit", {{"Entries", QVariantList{entry}}}).value("__rc") == 200;
        }
    });
    constexpr int Each = 4;
    std::atomic<int> made{0};
    std::atomic<int> conflicts{0};
    inAllClients([&](int) {
        for (int i = 0; i < Each; ++i) {
            const Api::Reply reply =
                call("UpdateItem", body(key("a", "1") + R"(,"UpdateExpression":"SET tally = tally + :one",)"
                                                        R"-("ConditionExpression":"attribute_exists(tally)",)-"
                                                        R"("ExpressionAttributeValues":{":one":{"N":"1"}})"));
            ++(reply.status == 200 ? made : conflicts);
            EXPECT_TRUE(reply.status == 200 || isConflict(reply)) << reply.status;
        }
    });
    isOver = true;
    other.join();
    EXPECT_EQ(made + conflicts, Clients * Each);
    EXPECT_EQ(numberOf("tally"), std::to_string(made));
    EXPECT_EQ(numberOf("side"), std::to_string(others));
}

TEST_F(ApiConcurrency, OneOfAllMakesTheItem)
{
    std::atomic<int> made{0};
    inAllClients([&](int client) {
        const Api::Reply reply =
            call("PutItem", body(item("a", "1", R"("by":{"N":")" + std::to_string(client) + "\"}") +
                                 R"-(,"ConditionExpression":"attribute_not_exists(id)")-"));
        made += reply.status == 200 ? 1 : 0;
    });
    EXPECT_EQ(made, 1);
}
