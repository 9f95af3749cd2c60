/* DropTable and TruncateTable, concurrently with other requests. */
#include "support/directorycontents.h"
#include "support/tablefixture.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

namespace {

using testing::Contains;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class Removal : public TableTest {
protected:
    void SetUp() override
    {
        TableTest::SetUp();
        createTable(tableName());
    }

    QVariantMap drop(const QString& name) { return request("Quorva_1.DropTable", {{"TableName", name}}); }
    QVariantMap truncate(const QString& name) { return request("Quorva_1.TruncateTable", {{"TableName", name}}); }

    static QVariantMap removedReply(long long files, long long bytes, long long items)
    {
        return okReply({{"Removed", QVariantMap{{"Files", files}, {"Bytes", bytes}, {"Items", items}}}});
    }

    /** Names in the environment's directory that begin with this. */
    std::vector<std::string> filesOf(const std::string& table) const
    {
        std::vector<std::string> names = namesIn(home());
        std::erase_if(names, [&](const std::string& name) { return !name.starts_with(table); });
        return names;
    }
    long long bytesOf(const std::string& table) const
    {
        long long bytes = 0;
        for (const std::string& name : filesOf(table))
            bytes += static_cast<long long>(std::filesystem::file_size(home() + '/' + name));
        return bytes;
    }

    void fill(int items)
    {
        for (int i = 0; i < items; ++i)
            EXPECT_EQ(put(QString::number(i), "r", {}).value("__rc"), QVariant(200LL));
    }
};

} // namespace

TEST_F(Removal, DropTableRemovesATableAndNothingElse)
{
    createTable(tableName("other"));
    const QVariantMap item{{"h", textValue("0")}, {"r", textValue("r")}, {"a", textValue("x")}};
    EXPECT_EQ(request("PutItem", {{"TableName", tableName("other")}, {"Item", item}}).value("__rc"), QVariant(200LL));
    fill(20);
    const long long files = static_cast<long long>(filesOf("t").size());
    const long long bytes = bytesOf("t");
    EXPECT_EQ(drop(tableName()), removedReply(files, bytes, 20));
    EXPECT_THAT(filesOf("t"), IsEmpty());
    EXPECT_EQ(request("GetItem", {{"TableName", tableName("other")}, {"Key", itemKey("0", "r")}}),
              okReply({{"Item", QVariantMap{{"a", textValue("x")}}}}));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(Removal, AfterADropTheNameIsThatOfATableThatHasNeverBeen)
{
    fill(3);
    EXPECT_EQ(drop(tableName()).value("__rc"), QVariant(200LL));
    EXPECT_EQ(drop(tableName()), notFoundReply());
    EXPECT_THAT(filesOf("t"), IsEmpty());
    EXPECT_EQ(describe(tableName()), notFoundReply());
    createTable(tableName(), keySchema("x", "y"));
    EXPECT_EQ(describe(tableName()).value("Table").toMap().value("KeySchema").toMap(), keySchema("x", "y"));
    EXPECT_EQ(request("Scan", {{"TableName", tableName()}}).value("Count"), QVariant(0LL));
    restartServer();
    EXPECT_EQ(describe(tableName()).value("Table").toMap().value("KeySchema").toMap(), keySchema("x", "y"));
}

TEST_F(Removal, TruncateTableLeavesTheTable)
{
    fill(20);
    EXPECT_EQ(truncate(tableName()).value("Removed").toMap().value("Items"), QVariant(20LL));
    EXPECT_EQ(filesOf("t"), std::vector<std::string>{"t"});
    EXPECT_EQ(get("0", "r"), okReply());
    fill(1);
    EXPECT_EQ(request("Scan", {{"TableName", tableName()}}).value("Count"), QVariant(1LL));
    restartServer();
    EXPECT_EQ(request("Scan", {{"TableName", tableName()}}).value("Count"), QVariant(1LL));
}

TEST_F(Removal, UnknownTablesLeaveNothingBehind)
{
    EXPECT_EQ(drop(tableName("none")), notFoundReply());
    EXPECT_EQ(truncate(tableName("none")), notFoundReply());
    EXPECT_EQ(drop(tableIn(home() + "/none")), notFoundReply());
    EXPECT_THAT(filesOf(""), Not(Contains(StartsWith("none"))));
    EXPECT_EQ(filesOf("t"), std::vector<std::string>{"t"});
}

TEST_F(Removal, AKillLosesNoRemovalThatWasAcknowledged)
{
    fill(20);
    EXPECT_EQ(truncate(tableName()).value("__rc"), QVariant(200LL));
    restartServer();
    EXPECT_EQ(filesOf("t"), std::vector<std::string>{"t"});
    fill(2);
    EXPECT_EQ(drop(tableName()).value("__rc"), QVariant(200LL));
    restartServer();
    EXPECT_EQ(drop(tableName()), notFoundReply());
    EXPECT_THAT(filesOf("t"), IsEmpty());
}

TEST_F(Removal, AKillInTheMiddleLeavesAllFilesOrNone)
{
    for (int round = 0; round < 4; ++round) {
        SCOPED_TRACE(round);
        createTable(tableName());
        fill(20);
        std::thread dropping([&, caller = Caller(server_)]() mutable {
            caller.request("Quorva_1.DropTable", {{"TableName", tableName()}});
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(2 * round)); // at different points
        killServer();
        dropping.join();
        ASSERT_TRUE(server_.start());
        const QVariantMap description = describe(tableName());
        const bool isThere = description.value("__rc") == QVariant(200LL);
        if (isThere)
            EXPECT_EQ(drop(tableName()).value("Removed").toMap().value("Items"), QVariant(20LL));
        else
            EXPECT_LE(filesOf("t").size(), 1U) << "what the DescribeTable has made";
    }
}

TEST_F(Removal, BesideReadersAndWritersAndAnotherRemoval)
{
    createTable(tableName("other"));
    std::atomic<bool> stop{false};
    std::atomic<int> done{0};
    const auto run = [&](const QByteArray& operation, const QVariantMap& body, QList<QVariant> outcomes) {
        Caller caller(server_);
        while (!stop) {
            const QVariantMap reply = caller.request(operation, body);
            EXPECT_TRUE(outcomes.contains(reply.value("__rcstr"))) << testing::PrintToString(reply);
            ++done;
        }
    };
    const QVariantMap item{{"h", textValue("k")}, {"r", textValue("1")}};
    const QList<QVariant> any{"OK", "Not Found", "Bad Request"}; // the last one of a Query without a description
    std::vector<std::thread> threads;
    for (const QByteArray operation : {"PutItem", "GetItem", "DescribeTable", "Query"}) {
        const QVariantMap body{{"Item", item}, {"Key", itemKey("k", "1")}, {"HashKeyValue", textValue("k")}};
        threads.emplace_back(run, operation, merged(body, {{"TableName", tableName()}}), any);
        threads.emplace_back(run, operation, merged(body, {{"TableName", tableName("other")}}), QList<QVariant>{"OK"});
    }
    const QVariantMap puts{
        {"RequestItems",
         QVariantMap{{tableName(), QVariantList{QVariantMap{{"PutRequest", QVariantMap{{"Item", item}}}}}},
                     {tableName("other"), QVariantList{QVariantMap{{"PutRequest", QVariantMap{{"Item", item}}}}}}}}};
    threads.emplace_back(run, "BatchWriteItem", puts, any);
    threads.emplace_back(run, "Quorva_1.TruncateTable", QVariantMap{{"TableName", tableName()}}, any);
    threads.emplace_back(run, "Quorva_1.CompactTable", QVariantMap{{"TableName", tableName()}, {"Partition", 40}}, any);
    for (int i = 0; i < 5; ++i) {
        const int before = done;
        EXPECT_TRUE(waitUntil([&] { return done > before + 20; }));
        EXPECT_TRUE(any.contains(drop(tableName()).value("__rcstr")));
        createTable(tableName());
    }
    stop = true;
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(put("k", "2", {}).value("__rc"), QVariant(200LL));
    // A request finds no description between a removal and the next CreateTable; nothing else goes wrong.
    EXPECT_THAT(takeComplaints(), testing::Each(testing::AnyOf(testing::HasSubstr("schema load failed"),
                                                               testing::EndsWith("composeReply Error 2"))));
}

TEST_F(Removal, ATableThatIsOpenUnderAnotherNameIsRefused)
{
    const std::string elsewhere = makeDirectory("elsewhere");
    for (const char* link : {"one", "two"})
        std::filesystem::create_directory_symlink(elsewhere, home() + '/' + link);
    createTable(tableName("one/t"));
    EXPECT_EQ(describe(tableName("two/t")).value("__rc"), QVariant(200LL));
    EXPECT_EQ(drop(tableName("one/t")).value("__type"), QVariant("InternalServerError"));
    EXPECT_TRUE(std::filesystem::exists(elsewhere + "/t"));
    EXPECT_EQ(describe(tableName("one/t")).value("__rc"), QVariant(200LL));
}
