#include "restorefixture.h"

#include "support/heldcopy.h"
#include "support/writeload.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

} // namespace

TEST_F(Restore, AfterAKillDuringAFullBackup)
{
    put("k", "r", {{"a", textValue("x")}});
    backUpTo(makeDirectory("older"));
    put("k", "s", {{"a", textValue("y")}});
    const std::string target = markedTarget("backup");
    HeldCopy held(target);
    EXPECT_EQ(act("DbBackup", target), accepted());
    ASSERT_TRUE(held.waitUntilHeld());
    const Items items = itemsOf(tableName(), {"k"});
    restartServer();
    held.release();

    EXPECT_EQ(itemsOf(tableName(), {"k"}), items) << "the source loses nothing";
    EXPECT_EQ(restore(target, pathOf("restored")).status, 1) << "the unfinished one is refused";
    EXPECT_EQ(itemsOf(tableIn(restored(pathOf("older"))), {"k"}).size(), 1U) << "the older one is as good as before";
    fs::remove(target + '/' + logName(1)); // the pipe
    backUpTo(target);
    EXPECT_EQ(itemsOf(tableIn(restored(target)), {"k"}), items) << "a new one into the same directory";
}

TEST_F(Restore, AfterKillsDuringFullBackupsUnderLoad)
{
    backUpTo(makeDirectory("older"));
    const std::string older = restored(pathOf("older"));
    const std::string target = makeDirectory("backup");
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        WriteLoad load(server_, tableName());
        ASSERT_TRUE(load.waitForMore(60));
        makeMarker(target);
        EXPECT_EQ(act("DbBackup", target), accepted());
        // At different points of the copy.
        ASSERT_TRUE(waitUntil([&] { return namesIn(target).size() > static_cast<std::size_t>(20 * i); }) ||
                    !hasMarker(target));
        const auto then = load.acknowledged();
        killServer();
        load.stop();
        ASSERT_TRUE(server_.start());
        load.expectHeldIn(itemsOf(tableName(), load.hashes()), then);

        backUpTo(target);
        const std::string copy = restored(target);
        EXPECT_EQ(itemsOf(tableIn(copy), load.hashes()), itemsOf(tableName(), load.hashes()));
        EXPECT_EQ(request("DeleteTable", {{"TableName", tableIn(copy)}}), okReply());
        fs::remove_all(copy);
    }
}

TEST_F(Restore, AfterAKillDuringShipping)
{
    backUpTo(makeDirectory("backup"));
    fillLogs(4);
    reopen();
    EXPECT_EQ(act("UpdateDbBackup", backup()), accepted());
    ASSERT_TRUE(waitUntil([&] { return !namesIn(backup() + "/__log__").empty(); }));
    killServer();
    const auto before = contentsOf(backup());
    // As the kill left it: the last log file may be incomplete, which is reported.
    const std::string copy = restored(backup(), testing::AnyOf("", testing::HasSubstr(" is truncated: ")));
    EXPECT_EQ(contentsOf(backup()), before);

    ASSERT_TRUE(server_.start());
    EXPECT_EQ(filledIn(tableName()), filled()) << "the source loses nothing";
    ASSERT_NO_FATAL_FAILURE(shipUpTo(3));
    EXPECT_THAT(namesIn(backup() + "/__log__"), ElementsAre(logName(1), logName(2), logName(3)));
    fs::remove_all(copy);
    EXPECT_GE(filledIn(tableIn(restored(backup()))), filled() - 2);
}

TEST_F(Restore, AfterACrashAtAnyPointOfTheMoveOfALogFile)
{
    put("k", "before", {{"a", textValue("x")}});
    fillLogs(1);
    put("k", "in the copy", {{"a", textValue("y")}});
    backUpTo(makeDirectory("backup"));
    put("k", "in log file 1", {{"a", textValue("z")}});
    const int inTheCopy = filled();
    fillLogs(2);
    killServer();
    ASSERT_TRUE(server_.start());
    reopen();
    killServer();

    // What a crash leaves: the log file in the environment, and one of these in the backup.
    struct Case {
        const char* name;
        std::uintmax_t copied; // of the log file, 0: none
        bool previous;         // an earlier copy under its safety name
        std::size_t items;     // of "k" that are restored
    };
    const std::uintmax_t all = fs::file_size(sourceLog(1));
    const Case cases[] = {
        {"before the copy", 0, false, 2},
        {"in the copy", 300'000, false, 3},
        {"in the copy, with an earlier one", 300'000, true, 3},
        {"between copy and delete", all, false, 3},
        {"between copy and delete, with an earlier one", all, true, 3},
        {"after the renaming of the earlier one", 0, true, 3},
    };
    const std::string pristine = pathOf("pristine");
    fs::copy(backup(), pristine, fs::copy_options::recursive);
    const std::string home2 = pathOf("pristine home");
    fs::copy(home(), home2, fs::copy_options::recursive);
    for (const Case& crash : cases) {
        SCOPED_TRACE(crash.name);
        fs::remove_all(backup());
        fs::copy(pristine, backup(), fs::copy_options::recursive);
        fs::remove_all(home());
        fs::copy(home2, home(), fs::copy_options::recursive);
        fs::create_directory(backup() + "/__log__");
        if (crash.copied > 0) {
            fs::copy_file(sourceLog(1), shippedLog(1));
            cut(shippedLog(1), crash.copied);
        }
        if (crash.previous)
            fs::copy_file(sourceLog(1), shippedLog(1) + ".del");

        const std::string asLeft = pathOf("as left");
        const ProgramRun run = restore(backup(), asLeft);
        EXPECT_EQ(run.status, 0) << run.error;
        const bool isCut = crash.copied > 0 && crash.copied < all && !crash.previous;
        EXPECT_EQ(run.error.find(shippedLog(1) + " is truncated: ") != std::string::npos, isCut) << run.error;
        EXPECT_EQ(run.error.empty(), !isCut) << run.error;
        ASSERT_TRUE(server_.start());
        EXPECT_EQ(itemsOf(tableIn(asLeft), {"k"}).size(), crash.items);
        EXPECT_GE(filledIn(tableIn(asLeft)), inTheCopy);
        EXPECT_EQ(itemsOf(tableName(), {"k"}).size(), 3U) << "the source loses nothing";

        // The next cycle resumes the move.
        ASSERT_NO_FATAL_FAILURE(shipUpTo(1));
        EXPECT_THAT(namesIn(backup() + "/__log__"), ElementsAre(logName(1)));
        EXPECT_EQ(fs::file_size(shippedLog(1)), all);
        fs::remove_all(asLeft);
        killServer();
        const std::string shipped = restored(backup());
        ASSERT_TRUE(server_.start());
        EXPECT_EQ(itemsOf(tableIn(shipped), {"k"}).size(), 3U);
        killServer();
        fs::remove_all(shipped);
    }
}
