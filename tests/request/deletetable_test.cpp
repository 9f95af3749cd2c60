#include "base/directorylock.h"
#include "support/tablefixture.h"

#include "protocol/framing.h"
#include "protocol/operations.h"

#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <future>
#include <thread>

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

/** Whether nobody holds the directory, as an environment does. */
bool isFree(const std::string& directory)
{
    return Base::DirectoryLock().lock(directory) == 0;
}

class DeleteTable : public TableTest {
protected:
    QVariantMap deleteTable(const QString& name) { return request("DeleteTable", {{"TableName", name}}); }
};

TEST_F(DeleteTable, UnknownTableSucceedsWithNothing)
{
    EXPECT_EQ(deleteTable(tableName()), okReply()); // the directory is there, its environment was never opened
    EXPECT_THAT(takeComplaints(), ElementsAre("[CRIT] bdb # Failed to load env with id: env::" + home()));
    const std::string missing = home() + "/missing";
    EXPECT_EQ(deleteTable(tableIn(missing)), okReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[CRIT] bdb # Failed to load env with id: env::" + missing));
    EXPECT_EQ(request("DeleteTable", {}), okReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[CRIT] bdb # Failed to load env with id: env::"));
    EXPECT_TRUE(std::filesystem::is_empty(home()));
}

TEST_F(DeleteTable, RemovesNoFileAndTheTableWorksAgain)
{
    createTable(tableName());
    put("abc", "1", {{"a", textValue("x")}});
    EXPECT_EQ(deleteTable(tableName()), okReply());
    EXPECT_TRUE(std::filesystem::exists(home() + "/t"));
    EXPECT_TRUE(std::filesystem::exists(home() + "/t_98.db"));
    EXPECT_EQ(get("abc", "1"), okReply({{"Item", QVariantMap{{"a", textValue("x")}}}}));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(DeleteTable, ASecondOneFindsNothingOpen)
{
    createTable(tableName());
    EXPECT_EQ(deleteTable(tableName()), okReply());
    EXPECT_THAT(takeComplaints(), IsEmpty());
    EXPECT_EQ(deleteTable(tableName()), okReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[CRIT] bdb # Failed to load env with id: env::" + home()));
}

TEST_F(DeleteTable, LetsGoOfTheDirectory)
{
    createTable(tableName());
    put("k", "1", {{"a", textValue("x")}});
    EXPECT_FALSE(isFree(home()));
    EXPECT_EQ(deleteTable(tableName()), okReply());
    {
        Base::DirectoryLock other;
        EXPECT_EQ(other.lock(home()), 0);
        EXPECT_EQ(get("k", "1"), notFoundReply());
        EXPECT_THAT(takeComplaints(), ElementsAre("[CRIT] bdb # Failed to open env path: " + home() +
                                                  " id env::" + home() + " rc " + std::to_string(EWOULDBLOCK)));
    }
    EXPECT_EQ(get("k", "1"), okReply({{"Item", QVariantMap{{"a", textValue("x")}}}}));
    EXPECT_FALSE(isFree(home()));
}

TEST_F(DeleteTable, ClosesTheEnvironmentForAllItsTables)
{
    createTable(tableName("t"));
    createTable(tableName("u"));
    put("k", "1", {{"a", textValue("x")}});
    EXPECT_EQ(deleteTable(tableName("u")), okReply());
    EXPECT_TRUE(isFree(home()));
    EXPECT_EQ(get("k", "1"), okReply({{"Item", QVariantMap{{"a", textValue("x")}}}}));
    EXPECT_EQ(deleteTable(tableName("never created")), okReply()); // only its environment has to be open
    EXPECT_TRUE(isFree(home()));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(DeleteTable, LeavesOtherEnvironmentsOpen)
{
    const std::string other = makeDirectory("other");
    createTable(tableName());
    createTable(tableIn(other));
    EXPECT_EQ(deleteTable(tableName()), okReply());
    EXPECT_TRUE(isFree(home()));
    EXPECT_FALSE(isFree(other));
}

TEST_F(DeleteTable, AnySpellingOfTheDirectoryWillDo)
{
    std::filesystem::create_directory_symlink(home(), server_.directory() + "/link");
    for (const std::string& spelling : {home() + "/", home() + "/.", home() + "//", server_.directory() + "/link",
                                        server_.directory() + "/link/../env/"}) {
        createTable(tableName());
        EXPECT_EQ(deleteTable(tableIn(spelling)), okReply()) << spelling;
        EXPECT_TRUE(isFree(home())) << spelling;
        createTable(tableIn(spelling));
        EXPECT_EQ(deleteTable(tableName()), okReply()) << spelling;
        EXPECT_TRUE(isFree(home())) << spelling;
    }
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

/** Each failure of each operation, then DeleteTable, which would wait for ever for a hold that was not given back. */
TEST_F(DeleteTable, FindsNoHoldLeftByRequestsThatFailed)
{
    const QVariantMap table{{"TableName", tableName()}};
    const QVariantMap key{{"Key", itemKey("k", "1")}};
    const QVariantMap never{{"Expected", QVariantMap{{"a", QVariantMap{{"Value", textValue("x")}}}}}};
    const QVariantMap latin{{"HashKeyElement", textValue(QString(QChar(0x100)))}, {"RangeKeyElement", textValue("")}};
    const QVariantMap item{{"h", textValue("k")}, {"r", textValue("1")}};
    const QVariantMap add{{"a", QVariantMap{{"Action", "ADD"}, {"Value", numberValue("1")}}}};

    request("PutItem", merged(table, {{"Item", item}})); // there is no schema yet
    request("Scan", table);
    request("Query", merged(table, {{"HashKeyValue", textValue("k")}}));
    createTable(tableName(), {});
    request("PutItem", merged(table, {{"Item", item}}));
    createTable(tableName());
    EXPECT_EQ(request("PutItem", table), internalErrorReply());
    EXPECT_EQ(request("PutItem", merged(merged(table, {{"Item", item}}), never)), conditionFailedReply());
    for (const char* operation : {"GetItem", "DeleteItem", "UpdateItem"}) {
        EXPECT_EQ(request(operation, table), internalErrorReply());
        EXPECT_EQ(request(operation, merged(table, {{"Key", latin}})), invalidRequestReply());
    }
    EXPECT_EQ(request("DeleteItem", merged(merged(table, key), never)),
              conditionFailedReply({{"Attributes", QVariantMap()}}));
    EXPECT_EQ(request("UpdateItem", merged(merged(table, key), never)), conditionFailedReply());
    put("t", "1", {{"a", textValue("x")}});
    EXPECT_EQ(update("t", "1", add), notFoundReply());
    EXPECT_EQ(request("Query", table), okReply({{"Attributes", QVariantMap()}}));
    EXPECT_EQ(request("Query", merged(table, {{"HashKeyValue", numberValue("1")}})), internalErrorReply());
    EXPECT_EQ(request("Scan", merged(table, {{"ExclusiveStartKey", QVariantMap()}})), internalErrorReply());
    EXPECT_EQ(request("UpdateTable", table), okReply({{"TableDescription", QVariantMap{{"TableStatus", "ACTIVE"}}}}));
    EXPECT_EQ(request("CreateTable", {{"TableName", tableName("")}}), internalErrorReply());
    EXPECT_EQ(request("BatchWriteItem", {{"RequestItems", QVariantMap{{tableName("none"), QVariantList()}}}}),
              notFoundReply({{"UnprocessedItems", QVariantMap{{tableName("none"), QVariantList()}}}}));
    EXPECT_EQ(deleteTable(tableName()), okReply());
    EXPECT_TRUE(isFree(home()));
}

/**
 * Many connections write, describe and delete at once, each spelling the directory in its own way. A request may meet a
 * table that is just being deleted and is then told so; a write that was acknowledged is never lost.
 */
TEST_F(DeleteTable, DoesNotWaitForAClientThatDoesNotReadItsReply)
{
    constexpr int Items = 60; // of 400,000 bytes: more than the buffers of a connection take
    createTable(tableName());
    for (int i = 0; i < Items; ++i) {
        const QVariantMap reply = put("abc", QString::number(i), {{"v", textValue(QString(400'000, 'v'))}});
        ASSERT_EQ(reply.value("__rc"), QVariant(200LL));
    }
    Caller slow(server_);
    const QVariantMap query{{"TableName", tableName()}, {"HashKeyValue", textValue("abc")}, {"Limit", 2 * Items}};
    ASSERT_TRUE(slow.connection().send(Framing::frameRequest(Operations::fullName("Query"), Json::serialize(query))));
    pollfd readable{slow.connection().socketDescriptor(), POLLIN, 0};
    ASSERT_EQ(poll(&readable, 1, 60'000), 1) << "the reply has begun";

    auto deleted = std::async(std::launch::async, [this] {
        return Caller(server_).request("DeleteTable", {{"TableName", tableName()}});
    });
    EXPECT_EQ(deleted.wait_for(std::chrono::seconds(30)), std::future_status::ready);

    QByteArray text;
    ASSERT_TRUE(slow.connection().receiveReply(&text)) << slow.connection().error().toStdString();
    EXPECT_EQ(deleted.get(), okReply());
    QVariant reply;
    ASSERT_TRUE(Json::parse(text, &reply));
    EXPECT_EQ(reply.toMap().value("Items").toList().size(), Items) << "the reply is whole all the same";
}

TEST_F(DeleteTable, NeverLosesAnAcknowledgedWriteOfOthers)
{
    constexpr int Writers = 4;
    constexpr int Writes = 60;
    constexpr int Deletes = 40;
    std::filesystem::create_directory_symlink(home(), server_.directory() + "/link");
    const std::vector<std::string> spellings{
        home(), home() + "/", server_.directory() + "/link",
        server_.directory() + "/../" + std::filesystem::path(server_.directory()).filename().string() + "/link/."};
    createTable(tableName());
    const QVariantMap busy = notFoundReply();

    std::vector<std::vector<QString>> acknowledged(Writers);
    std::vector<Caller> callers;
    for (int i = 0; i < 2 * Writers; ++i)
        callers.emplace_back(server_);
    std::atomic<int> writing = Writers;
    std::vector<std::thread> threads;
    for (int i = 0; i < Writers; ++i) {
        threads.emplace_back([&, i] {
            Caller& caller = callers[static_cast<std::size_t>(i)];
            const QString name = tableIn(spellings[static_cast<std::size_t>(i)]);
            for (int n = 0; n < Writes;) {
                const QString range = QString::number(n);
                const QVariantMap item{{"h", textValue("w" + QString::number(i))}, {"r", textValue(range)}};
                const QVariantMap reply = caller.request("PutItem", {{"TableName", name}, {"Item", item}});
                if (reply == okReply({{"Attributes", QVariantMap()}})) {
                    acknowledged[static_cast<std::size_t>(i)].push_back(range);
                    ++n;
                } else if (reply != busy) {
                    ADD_FAILURE() << testing::PrintToString(reply);
                    break;
                }
            }
            --writing;
        });
        threads.emplace_back([&, i] {
            Caller& caller = callers[static_cast<std::size_t>(Writers + i)];
            const QString name = tableIn(spellings[static_cast<std::size_t>((i + 1) % Writers)]);
            // Two of these describe as long as there are writers, two delete.
            for (int n = 0; i % 2 == 0 ? writing > 0 : n < Deletes; ++n) {
                const QVariantMap reply =
                    caller.request(i % 2 == 0 ? "DescribeTable" : "DeleteTable", {{"TableName", name}});
                const bool well = i % 2 == 0 ? reply.contains("Table") || reply == busy : reply == okReply();
                if (!well) {
                    ADD_FAILURE() << testing::PrintToString(reply);
                    break;
                }
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    const auto expectAllThere = [&] {
        for (int i = 0; i < Writers; ++i) {
            EXPECT_THAT(acknowledged[static_cast<std::size_t>(i)], testing::SizeIs(Writes));
            for (const QString& range : acknowledged[static_cast<std::size_t>(i)])
                EXPECT_EQ(get("w" + QString::number(i), range), okReply({{"Item", QVariantMap()}}));
        }
    };
    expectAllThere();
    restartServer();
    expectAllThere();
}

} // namespace
