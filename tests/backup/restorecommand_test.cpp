#include "backupfixture.h"
#include "terminalrun.h"

#include <fcntl.h>
#include <sys/file.h>

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class RestoreCommand : public BackupTest {
protected:
    void SetUp() override
    {
        BackupTest::SetUp();
        put("k", "r", {{"a", textValue("x")}});
        put("k", "s", {{"a", textValue(QString(5000, 'y'))}});
        backUpTo(makeDirectory("backup"));
    }

    std::string backup() const { return pathOf("backup"); }
    std::string target() const { return pathOf("restored"); }

    /** A restore that fails with this text and changes nothing. */
    void expectRefusal(const std::string& from, const std::string& to, const std::string& message)
    {
        const auto before = contentsOf(from);
        const bool existed = fs::exists(to);
        const auto there = contentsOf(to);
        const ProgramRun run = restore(from, to);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.error, "quorvactl: " + message + '\n');
        EXPECT_EQ(contentsOf(from), before);
        EXPECT_EQ(fs::exists(to), existed);
        EXPECT_EQ(contentsOf(to), there);
    }

    /** Overwrites a part of a file in the backup. */
    void damage(const std::string& file, std::streamoff offset, std::size_t bytes) const
    {
        std::fstream stream(backup() + '/' + file, std::ios::binary | std::ios::in | std::ios::out);
        stream.seekp(offset);
        const std::string nonsense(bytes, '\x5a');
        stream.write(nonsense.data(), static_cast<std::streamsize>(nonsense.size()));
        ASSERT_TRUE(stream.flush());
    }
};

} // namespace

TEST_F(RestoreCommand, TellsWhatItRestoredAndLeavesTheBackupAsItWas)
{
    createTable(tableName("u"));
    createTable(tableName("empty"));
    request("PutItem",
            {{"TableName", tableName("u")}, {"Item", QVariantMap{{"h", textValue("k")}, {"r", textValue("r")}}}});
    for (int i = 0; i < 20; ++i)
        put(QString::number(i), "r", {{"a", textValue("x")}}); // in several files
    EXPECT_EQ(act("StopDbBackup"), accepted());
    ASSERT_TRUE(waitUntil([&] { return act("DbBackup", markedTarget("another")) == accepted(); }));
    ASSERT_TRUE(waitUntilComplete(pathOf("another")));

    const auto before = contentsOf(pathOf("another"));
    const ProgramRun run = restore(pathOf("another"), target());
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output,
                restoreOutput("empty: 0 items\nt: 22 items\nu: 1 items\n", "3 tables with 23 items", target()));
    EXPECT_EQ(run.error, "") << "quiet where nobody looks";
    EXPECT_EQ(contentsOf(pathOf("another")), before);
}

TEST_F(RestoreCommand, MakesADirectoryThatAServerServes)
{
    put("k", "later", {{"a", textValue("z")}});
    const ProgramRun run = restore(backup(), target() + '/'); // the "/" does not matter
    EXPECT_EQ(run.status, 0) << run.error;
    const Items items = itemsOf(tableIn(target()), {"k"});
    EXPECT_EQ(items,
              (Items{{{"k", "r"}, {{"a", textValue("x")}}}, {{"k", "s"}, {{"a", textValue(QString(5000, 'y'))}}}}));
    const QVariantMap reply = request(
        "PutItem", {{"TableName", tableIn(target())},
                    {"Item", QVariantMap{{"h", textValue("k")}, {"r", textValue("new")}, {"a", textValue("n")}}}});
    EXPECT_EQ(reply.value("__rc"), QVariant(200LL));
    restartServer();
    EXPECT_EQ(itemsOf(tableIn(target()), {"k"}).size(), 3U);
    EXPECT_EQ(itemsOf(tableName(), {"k"}).size(), 3U) << "two environments from here on";
    QVariantMap described = describe(tableIn(target())).value("Table").toMap();
    EXPECT_EQ(described.value("KeySchema"), describe(tableName()).value("Table").toMap().value("KeySchema"));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(RestoreCommand, FillsAnEmptyDirectoryThatIsThere)
{
    fs::create_directory(target());
    EXPECT_EQ(restore(backup(), target()).status, 0);
    EXPECT_EQ(itemsOf(tableIn(target()), {"k"}).size(), 2U);
}

TEST_F(RestoreCommand, RefusesATargetThatIsNotEmpty)
{
    fs::create_directory(target());
    std::ofstream(target() + "/something").flush();
    expectRefusal(backup(), target(), target() + " is not empty");
}

TEST_F(RestoreCommand, RefusesATargetThatCannotBeMade)
{
    std::ofstream(target()).flush();
    expectRefusal(backup(), target(), "cannot make " + target() + ": File exists");
    expectRefusal(backup(), pathOf("none/restored"),
                  "cannot make " + pathOf("none/restored") + ": No such file or directory");
}

TEST_F(RestoreCommand, RefusesATargetInTheBackup)
{
    expectRefusal(backup(), backup() + "/restored",
                  backup() + "/restored lies in " + backup() + ", which a restore does not change");
    fs::create_directory_symlink(backup(), pathOf("link"));
    expectRefusal(backup(), pathOf("link/restored"),
                  pathOf("link/restored") + " lies in " + backup() + ", which a restore does not change");
    expectRefusal(backup(), backup(), backup() + " lies in " + backup() + ", which a restore does not change");
}

TEST_F(RestoreCommand, RefusesATargetThatAServerHasOpen)
{
    fs::create_directory(target());
    const int held = open(target().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(flock(held, LOCK_EX | LOCK_NB), 0);
    expectRefusal(backup(), target(), target() + " is open in a server, or another restore fills it");
    close(held);
    EXPECT_EQ(restore(backup(), target()).status, 0);
}

TEST_F(RestoreCommand, RefusesADirectoryThatAServerHasOpen)
{
    expectRefusal(home(), target(), home() + " is open in a server, or a copy to it is under way");
}

TEST_F(RestoreCommand, RefusesAnUnfinishedBackup)
{
    makeMarker(backup());
    expectRefusal(backup(), target(),
                  backup() + " is unfinished: BackupInProgress.tmp is there, the copy was not completed");
}

TEST_F(RestoreCommand, RefusesWhatIsNoBackup)
{
    expectRefusal(makeDirectory("empty"), target(), pathOf("empty") + " is no backup: it holds no log files");
    makeDirectory("texts");
    std::ofstream(pathOf("texts/readme")) << "text";
    expectRefusal(pathOf("texts"), target(), pathOf("texts") + " is no backup: it holds no log files");
    expectRefusal(pathOf("none"), target(), pathOf("none") + " is not a directory");
    expectRefusal(pathOf("texts/readme"), target(), pathOf("texts/readme") + " is not a directory");
}

TEST_F(RestoreCommand, RefusesAGapInTheLogs)
{
    makeDirectory("backup/__log__");
    fs::copy_file(backup() + '/' + logName(1), backup() + "/__log__/" + logName(3));
    expectRefusal(backup(), target(),
                  backup() + " has a gap: log.0000000002 is missing, and what follows cannot be applied without it");
}

TEST_F(RestoreCommand, LeavesNothingBehindWhenADatabaseFileIsDamaged)
{
    const std::string file = onlyDataFile();
    damage(file, 2048, 2048); // a page behind the first
    const auto before = contentsOf(backup());
    for (const bool existed : {false, true}) {
        SCOPED_TRACE(existed);
        if (existed)
            fs::create_directory(target());
        const ProgramRun run = restore(backup(), target());
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.output, "");
        EXPECT_THAT(run.error, AllOf(StartsWith("quorvactl: "), EndsWith("\n"),
                                     AnyOf(HasSubstr(backup() + ": " + file + " is damaged: "),
                                           HasSubstr(backup() + ": recovery fails: "))));
        EXPECT_EQ(fs::exists(target()), existed);
        EXPECT_THAT(namesIn(target()), IsEmpty());
        EXPECT_EQ(contentsOf(backup()), before);
    }
}

TEST_F(RestoreCommand, LeavesNothingBehindWhenWhatShouldBeADatabaseIsNone)
{
    std::ofstream(backup() + "/notes.txt") << "somebody's notes";
    const ProgramRun run = restore(backup(), target());
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.error, StartsWith("quorvactl: " + backup() + ": notes.txt is damaged: "));
    EXPECT_FALSE(fs::exists(target()));
}

TEST_F(RestoreCommand, LeavesNothingBehindWhenTheDiskIsFull)
{
    // A limit on the size of files stands for the disk; the log file is larger.
    const ProgramRun run = runProgram("/bin/sh", {"-c", "trap '' XFSZ; ulimit -f 2000; exec \"$@\"", "sh",
                                                  QUORVACTL_BINARY, "restore", backup(), target()});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.error, "quorvactl: cannot copy " + backup() + '/' + logName(1) + ": File too large\n");
    EXPECT_FALSE(fs::exists(target()));
    EXPECT_THAT(namesIn(server_.directory()), Not(Contains(HasSubstr(".restoring-"))));
}

TEST_F(RestoreCommand, ShowsProgressOnATerminal)
{
    const ProgramRun run = runOnTerminal(QUORVACTL_BINARY, {"restore", backup(), target()});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, restoreOutput("t: 2 items\n", "1 tables with 2 items", target()));
    EXPECT_THAT(run.error, AllOf(HasSubstr("\r\033[Kcopying 1/3"), HasSubstr("\r\033[Kcopying 3/3"),
                                 HasSubstr("\r\033[Krecovering"), HasSubstr("\r\033[Kverifying 0/2"),
                                 EndsWith("\r\033[Kverifying 2/2\r\n")));

    const ProgramRun failed = runOnTerminal(QUORVACTL_BINARY, {"restore", backup(), target()});
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(failed.error, "quorvactl: " + target() + " is not empty\r\n");
}

TEST_F(RestoreCommand, WrongCommandLineIsAUsageError)
{
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"restore"},
                                               {"restore", backup()},
                                               {"restore", backup(), target(), "more"},
                                               {"restore", "--fast", "a", "b"}}) {
        const ProgramRun run = runProgram(QUORVACTL_BINARY, arguments);
        EXPECT_EQ(run.status, 64) << testing::PrintToString(arguments);
        EXPECT_EQ(run.output, "");
        EXPECT_THAT(run.error, HasSubstr("Run with --help for more information."));
    }
    EXPECT_FALSE(fs::exists(target()));
}
