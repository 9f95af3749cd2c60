/* The commands that delete tables and items and free space. */
#include "support/directorycontents.h"
#include "toolfixture.h"

#include <filesystem>
#include <thread>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::MatchesRegex;

class SpaceCommands : public ToolTest {
protected:
    std::uintmax_t bytesOf(const std::string& prefix) const { return bytesIn(home(), prefix); }

    /** Stores items of 1 KB with one hash key, and deletes all but every tenth. */
    void fillAndDelete(int items)
    {
        for (int i = 0; i < items; ++i)
            put("k", QString::number(i), {{"v", textValue(QString(1000, 'v'))}});
        for (int i = 0; i < items; ++i) {
            if (i % 10 != 0)
                remove("k", QString::number(i));
        }
        restartServer(); // so that recovery writes the pages
        EXPECT_EQ(get("k", "0").value("__rc"), QVariant(200LL));
    }
};

} // namespace

TEST_F(SpaceCommands, DeletePermanentlyOnlyWhenConfirmed)
{
    put("k", "1", {});
    for (const std::string command : {"truncate", "drop-table"})
        expectFailure({command, table()}, Usage,
                      "quorvactl: " + command +
                          " deletes permanently and asks on a terminal only; nothing was deleted\n"
                          "  try: --yes, in scripts\n");
    EXPECT_EQ(get("k", "1"), okReply({{"Item", QVariantMap()}}));
    expectOutput({"truncate", table(), "--yes"}, "truncated " + table() + ": 1 item, 1 file, 8.0 KiB\n");
    expectOutput({"scan", table()}, "");
    expectOutput({"drop-table", "--yes", table()}, "dropped " + table() + ": 0 items, 1 file, 8.0 KiB\n");
}

TEST_F(SpaceCommands, SayThatThereIsNoSuchTable)
{
    for (const std::string command : {"truncate", "drop-table"}) {
        const ProgramRun run = quorvactl({command, table("none"), "--yes"});
        EXPECT_EQ(run.status, ErrorReply);
        EXPECT_EQ(run.output, "");
        EXPECT_THAT(run.error, HasSubstr("there is no table " + table("none")));
        expectFailure({command, pathOf("none") + "|t", "--yes"}, ErrorReply,
                      Complaints::noDirectory("cannot find the table " + pathOf("none") + "|t", pathOf("none")));
    }
}

TEST_F(SpaceCommands, SayWhatAFailureLeaves)
{
    fs::create_directory(pathOf("elsewhere"));
    for (const char* link : {"one", "two"}) {
        fs::create_directory_symlink(pathOf("elsewhere"), home() + '/' + link);
        createTable(tableName(QString(link) + "/t"));
    }
    expectFailure({"drop-table", table("one/t"), "--yes"}, ErrorReply,
                  Complaints::errorReply("cannot drop-table " + table("one/t"), Complaints::InternalError,
                                         "the server's log, which has the cause; nothing was deleted, unless it says "
                                         "\"txn commit failed\""));
    EXPECT_TRUE(fs::exists(pathOf("elsewhere/t")));
}

TEST_F(SpaceCommands, CompactGivesTheSpaceOfDeletedItemsBack)
{
    fillAndDelete(400);
    const std::uintmax_t before = bytesOf("t_");
    const ProgramRun run = quorvactl({"compact", table()});
    EXPECT_EQ(run.status, Ok) << run.error;
    EXPECT_THAT(run.output, MatchesRegex("compacted .*\\|t: [0-9.]+ KiB freed, [0-9.]+ KiB left\n"));
    EXPECT_LT(bytesOf("t_"), before / 3);
    EXPECT_EQ(request("Query", {{"TableName", tableName()}, {"HashKeyValue", textValue("k")}, {"Limit", 1000}})
                  .value("Count"),
              QVariant(40LL));
    restartServer();
    EXPECT_LT(bytesOf("t_"), before / 3);
    EXPECT_EQ(request("Query", {{"TableName", tableName()}, {"HashKeyValue", textValue("k")}, {"Limit", 1000}})
                  .value("Count"),
              QVariant(40LL));
}

TEST_F(SpaceCommands, CompactLosesNothingWhenTheServerIsKilled)
{
    fillAndDelete(600);
    const std::uintmax_t before = bytesOf("t_");
    std::thread compacting([&] { (void)quorvactl({"compact", table()}); });
    EXPECT_TRUE(waitUntil([&] { return bytesOf("t_") < before; }));
    killServer();
    compacting.join();
    ASSERT_TRUE(server_.start());
    EXPECT_EQ(request("Query", {{"TableName", tableName()}, {"HashKeyValue", textValue("k")}, {"Limit", 1000}})
                  .value("Count"),
              QVariant(60LL));
    EXPECT_EQ(quorvactl({"compact", table()}).status, Ok);
}

TEST_F(SpaceCommands, CompactOfAnUnknownTableIsRefused)
{
    EXPECT_EQ(quorvactl({"compact", table("none")}).status, ErrorReply);
    for (const QVariant& partition : {QVariant(), QVariant(-1), QVariant(256), QVariant("3")}) {
        const QVariantMap reply =
            request("Quorva_1.CompactTable", {{"TableName", tableName()}, {"Partition", partition}});
        EXPECT_EQ(reply.value("__type"), QVariant("ValidationException")) << testing::PrintToString(partition);
    }
}
