#include "support/backupfixture.h"
#include "support/writeload.h"

#include <ctime>

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class Restore : public BackupTest {
protected:
    /** Keeps the first `bytes` of a file. */
    static void cut(const std::string& file, std::uintmax_t bytes) { fs::resize_file(file, bytes); }

    std::string backup() const { return pathOf("backup"); }
    std::string shippedLog(int number) const { return backup() + "/__log__/" + logName(number); }
    std::string sourceLog(int number) const { return home() + '/' + logName(number); }
};

} // namespace

TEST_F(Restore, HoldsTheCopyAndEverythingUpToTheLastShippedLog)
{
    put("k", "before", {{"a", textValue("x")}});
    backUpTo(makeDirectory("backup"));
    put("k", "after", {{"a", textValue("y")}});
    fillLogs(3);
    const int inTheCopyAndTwoLogs = filled() - 1; // the latest is in log file 3
    reopen();
    EXPECT_EQ(act("UpdateDbBackup", backup()), accepted());
    ASSERT_TRUE(waitUntil([&] { return !fs::exists(sourceLog(2)); }));
    put("k", "not shipped", {{"a", textValue("z")}});
    const auto before = contentsOf(backup());

    const std::string copy = restored(backup());
    EXPECT_EQ(contentsOf(backup()), before);
    EXPECT_EQ(itemsOf(tableIn(copy), {"k"}),
              (Items{{{"k", "before"}, {{"a", textValue("x")}}}, {{"k", "after"}, {{"a", textValue("y")}}}}));
    EXPECT_GE(filledIn(tableIn(copy)), inTheCopyAndTwoLogs - 1) << "a record may lie across the end of a log file";
}

TEST_F(Restore, TellsTheTimeOfTheLastCommitInIt)
{
    const auto restoredUntil = [this](const std::string& target) {
        const ProgramRun run = restore(backup(), target);
        EXPECT_EQ(run.status, 0) << run.error;
        std::tm parts = {};
        const std::size_t at = run.output.find("data until ");
        EXPECT_NE(at, std::string::npos);
        EXPECT_NE(strptime(run.output.c_str() + at, "data until %Y-%m-%d %H:%M:%S UTC\n", &parts), nullptr);
        return timegm(&parts);
    };
    const std::time_t before = std::time(nullptr);
    put("k", "before", {{"a", textValue("x")}});
    const std::time_t after = std::time(nullptr);
    ASSERT_TRUE(waitUntil([&] { return std::time(nullptr) > after; }));
    backUpTo(makeDirectory("backup"));
    const std::time_t copied = restoredUntil(pathOf("first"));
    EXPECT_GE(copied, before);
    EXPECT_LE(copied, after) << "not when the copy was made";

    // What is shipped counts, what is not does not.
    fillLogs(3);
    const std::time_t filled = std::time(nullptr);
    reopen();
    EXPECT_EQ(act("UpdateDbBackup", backup()), accepted());
    ASSERT_TRUE(waitUntil([&] { return !fs::exists(sourceLog(2)); }));
    ASSERT_TRUE(waitUntil([&] { return std::time(nullptr) > filled; }));
    put("k", "not shipped", {{"a", textValue("z")}});
    const std::time_t shipped = restoredUntil(pathOf("second"));
    EXPECT_GT(shipped, after);
    EXPECT_LE(shipped, filled);
}

TEST_F(Restore, NamesTheLogFileThatIsNotWhole)
{
    put("k", "before", {{"a", textValue("x")}});
    backUpTo(makeDirectory("backup")); // holds the beginning of log file 1
    fillLogs(3);
    killServer();
    fs::create_directory(backup() + "/__log__");
    fs::copy_file(sourceLog(2), shippedLog(2)); // as after a checkpoint that removed 1
    const ProgramRun run = restore(backup(), pathOf("restored"));
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.error, "quorvactl: " + backup() +
                             " has a gap in its log: log.0000000001 is truncated, and later log files cannot be "
                             "applied without the rest of it\n");
    EXPECT_FALSE(fs::exists(pathOf("restored")));

    fs::copy_file(sourceLog(1), shippedLog(1));
    EXPECT_EQ(restore(backup(), pathOf("restored")).status, 0);
}

TEST_F(Restore, NamesTheLogFileThatIsDamaged)
{
    put("k", "before", {{"a", textValue("x")}});
    backUpTo(makeDirectory("backup"));
    fillLogs(3);
    killServer();
    fs::create_directory(backup() + "/__log__");
    for (const int number : {1, 2}) {
        SCOPED_TRACE(number);
        const auto expectDamage = [&](const std::string& pattern) {
            const ProgramRun run = restore(backup(), pathOf("restored"));
            EXPECT_EQ(run.status, 1);
            EXPECT_EQ(run.output, "");
            EXPECT_THAT(run.error, testing::MatchesRegex("quorvactl: " + backup() + pattern + '\n'));
            EXPECT_FALSE(fs::exists(pathOf("restored")));
        };
        const auto shipPristine = [&] {
            for (const int each : {1, 2})
                fs::copy_file(sourceLog(each), shippedLog(each), fs::copy_options::overwrite_existing);
        };
        const auto overwrite = [&](std::streamoff offset, const std::string& bytes) {
            shipPristine();
            std::fstream file(shippedLog(number), std::ios::binary | std::ios::in | std::ios::out);
            file.seekp(offset);
            file << bytes;
        };
        const std::string unreadable =
            number == 1 ? ": " + logName(1) + " is damaged: its records cannot be read from byte [0-9]+ on"
                        : "/__log__/" + logName(2) +
                              " is damaged: its records cannot be read from byte [0-9]+ on; after \"truncate -s "
                              "[0-9]+\" it can be restored up to there";
        overwrite(5'000'000, std::string(43, 'x'));
        expectDamage(unreadable);
        overwrite(5'000'000, std::string(1'000'000, '\0'));
        expectDamage(unreadable);
        shipPristine();
        std::ofstream(shippedLog(number))
            << "This is no log file. " << std::string(number == 1 ? 20'000'000 : 100, '.');
        expectDamage(number == 1 ? ": __log__/" + logName(1) + " is damaged: its checksum does not match"
                                 : ": " + logName(2) + " is damaged: it does not begin with the header of a log file");
    }
}

TEST_F(Restore, WarnsOfALastLogFileThatIsNotWhole)
{
    put("k", "before", {{"a", textValue("x")}});
    backUpTo(makeDirectory("backup"));
    fillLogs(3);
    killServer();
    fs::create_directory(backup() + "/__log__");
    fs::copy_file(sourceLog(1), shippedLog(1));
    fs::copy_file(sourceLog(2), shippedLog(2));
    const ProgramRun whole = restore(backup(), pathOf("whole"));
    EXPECT_EQ(whole.status, 0);
    EXPECT_EQ(whole.error, "");
    cut(shippedLog(2), 5'000'000);
    const ProgramRun run = restore(backup(), pathOf("restored"));
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.error, testing::MatchesRegex(
                               "quorvactl: " + shippedLog(2) +
                               " is truncated: its records end at byte [0-9]+, and later changes are not restored\n"));
    ASSERT_TRUE(server_.start());
    EXPECT_LT(filledIn(tableIn(pathOf("restored"))), filledIn(tableIn(pathOf("whole"))));
}

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
        // At different depths of the copy.
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
    // As it was left: the last log file may be a part of one, which is told.
    const std::string copy = restored(backup(), testing::AnyOf("", testing::HasSubstr(" is truncated: ")));
    EXPECT_EQ(contentsOf(backup()), before);

    ASSERT_TRUE(server_.start());
    EXPECT_EQ(filledIn(tableName()), filled()) << "the source loses nothing";
    EXPECT_EQ(act("UpdateDbBackup", backup()), accepted());
    ASSERT_TRUE(waitUntil([&] { return !fs::exists(sourceLog(3)); })) << server_.logText();
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

    // What a crash leaves: the log file in the environment, and in the backup one of these.
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

        // The next cycle takes the move up again.
        EXPECT_EQ(act("UpdateDbBackup", backup()), accepted());
        ASSERT_TRUE(waitUntil([&] { return !fs::exists(sourceLog(1)); })) << server_.logText();
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

TEST_F(Restore, IsTheBeginningOfANextLifeThatIsBackedUpToTheSameDirectory)
{
    // The first life: a copy, and log files shipped after it.
    put("k", "first life", {{"a", textValue("x")}});
    backUpTo(makeDirectory("backup"));
    fillLogs(3);
    reopen();
    EXPECT_EQ(act("UpdateDbBackup", backup()), accepted());
    ASSERT_TRUE(waitUntil([&] { return !fs::exists(sourceLog(2)); }));
    // The disk is lost; the next life begins with what the backup holds, and counts its log files on from there.
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply());
    fs::remove_all(home());
    const ProgramRun run = restore(backup(), home());
    EXPECT_EQ(run.status, 0) << run.error;
    put("k", "second life", {{"a", textValue("y")}});
    backUpTo(backup());
    const Items items = itemsOf(tableName(), {"k"});
    EXPECT_EQ(items.size(), 2U);
    EXPECT_EQ(itemsOf(tableIn(restored(backup())), {"k"}), items);
}

TEST_F(Restore, OfAnEnvironmentWithoutTables)
{
    const QString fresh = tableIn(makeDirectory("fresh"));
    const std::string target = markedTarget("backup");
    EXPECT_EQ(actOn(fresh, "DbBackup", target), accepted());
    ASSERT_TRUE(waitUntilComplete(target));
    const ProgramRun run = restore(target, pathOf("restored"));
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_EQ(run.output, "data until unknown\nrestored 0 tables with 0 items to " + pathOf("restored") + '\n');
}

TEST_F(Restore, OfAnEnvironmentWithSettingsOfItsOwnLeavesThemOut)
{
    const std::string tuned = makeDirectory("tuned");
    std::ofstream(tuned + "/DB_CONFIG") << "set_lg_max 20971520\nlog_set_config db_log_dsync off\n";
    createTable(tableIn(tuned));
    const std::string target = markedTarget("backup");
    EXPECT_EQ(actOn(tableIn(tuned), "DbBackup", target), accepted());
    ASSERT_TRUE(waitUntilComplete(target));
    EXPECT_THAT(namesIn(target), ElementsAre("BackupFiles.list", logName(1), "t"));
    const ProgramRun run = restore(target, pathOf("restored"));
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_THAT(run.output, restoreOutput("t: 0 items\n", "1 table with 0 items", pathOf("restored")));
}
