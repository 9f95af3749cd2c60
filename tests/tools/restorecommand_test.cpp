#include "support/backupfixture.h"
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
        stopBackup();
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
                restoreOutput("empty: 0 items\nt: 22 items\nu: 1 item\n", "3 tables with 23 items", target()));
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
    expectRefusal(backup(), target(), "cannot create " + target() + ": File exists");
    expectRefusal(backup(), pathOf("none/restored"),
                  "cannot create " + pathOf("none/restored") + ": No such file or directory");
}

TEST_F(RestoreCommand, RefusesATargetInTheBackup)
{
    expectRefusal(backup(), backup() + "/restored",
                  backup() + "/restored is inside " + backup() + ", which a restore must not change");
    fs::create_directory_symlink(backup(), pathOf("link"));
    expectRefusal(backup(), pathOf("link/restored"),
                  pathOf("link/restored") + " is inside " + backup() + ", which a restore must not change");
    expectRefusal(backup(), backup(), backup() + " is inside " + backup() + ", which a restore must not change");
}

TEST_F(RestoreCommand, RefusesATargetThatAServerHasOpen)
{
    fs::create_directory(target());
    const int held = open(target().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(flock(held, LOCK_EX | LOCK_NB), 0);
    expectRefusal(backup(), target(), target() + " is open in a server, or in use by another restore");
    close(held);
    EXPECT_EQ(restore(backup(), target()).status, 0);
}

TEST_F(RestoreCommand, RefusesADirectoryThatAServerHasOpen)
{
    expectRefusal(home(), target(), home() + " is open in a server");
}

TEST_F(RestoreCommand, RefusesAnUnfinishedBackup)
{
    makeMarker(backup());
    expectRefusal(backup(), target(),
                  backup() + " is unfinished: it contains BackupInProgress.tmp; wait for the running backup to "
                             "complete, or make another one");
}

TEST_F(RestoreCommand, NamesACopyThatIsBeingMadeAsUnfinished)
{
    makeMarker(backup());
    fs::rename(listIn(backup()), listIn(backup()) + ".tmp");
    const int server = open(backup().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    // As the server does while it copies; it may still be looking for log files to ship.
    ASSERT_TRUE(waitUntil([&] { return flock(server, LOCK_EX | LOCK_NB) == 0; }));
    expectRefusal(backup(), target(),
                  backup() + " is unfinished: it contains BackupInProgress.tmp; wait for the running backup to "
                             "complete, or make another one");
    close(server);
}

TEST_F(RestoreCommand, RefusesWhatIsNoBackup)
{
    expectRefusal(makeDirectory("empty"), target(), pathOf("empty") + " is not a backup: it contains no log files");
    makeDirectory("texts");
    std::ofstream(pathOf("texts/readme")) << "text";
    expectRefusal(pathOf("texts"), target(), pathOf("texts") + " is not a backup: it contains no log files");
    expectRefusal(pathOf("none"), target(), pathOf("none") + " is not a directory");
    expectRefusal(pathOf("texts/readme"), target(), pathOf("texts/readme") + " is not a directory");
}

TEST_F(RestoreCommand, TellsWhatItCannotRead)
{
    fs::remove(listIn(backup()));
    fs::create_symlink("BackupFiles.list", listIn(backup())); // leads to itself
    const ProgramRun run = runProgram(QUORVACTL_BINARY, {"restore", backup(), target()});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.error, "quorvactl: cannot read " + backup() + ": Too many levels of symbolic links\n");
    EXPECT_FALSE(fs::exists(target()));
}

TEST_F(RestoreCommand, RefusesAGapInTheLogs)
{
    makeDirectory("backup/__log__");
    fs::copy_file(backup() + '/' + logName(1), backup() + "/__log__/" + logName(3));
    expectRefusal(
        backup(), target(),
        backup() +
            " has a gap in its log: log.0000000002 is missing, and later log files cannot be applied without it");
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
                                           HasSubstr(backup() + ": recovery failed: "))));
        EXPECT_EQ(fs::exists(target()), existed);
        EXPECT_THAT(namesIn(target()), IsEmpty());
        EXPECT_EQ(contentsOf(backup()), before);
    }
}

TEST_F(RestoreCommand, LeavesNothingBehindWhenWhatShouldBeADatabaseIsNone)
{
    std::ofstream(backup() + "/notes.txt") << "somebody's notes";
    fs::remove(listIn(backup()));
    const ProgramRun run = restore(backup(), target());
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.error, StartsWith("quorvactl: " + backup() + ": notes.txt is damaged: "));
    EXPECT_FALSE(fs::exists(target()));
}

TEST_F(RestoreCommand, LeavesNothingBehindWhenTheDiskIsFull)
{
    // A limit on the size of files, one block, stands for the disk; the log file is larger.
    std::vector<std::string> words = restoreArguments(backup(), target());
    words.insert(words.begin(), {"-c", "trap '' XFSZ; ulimit -f 1; exec \"$@\"", "sh", QUORVACTL_BINARY});
    const ProgramRun run = runProgram("/bin/sh", words);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.error, "quorvactl: cannot copy " + backup() + '/' + logName(1) + ": File too large\n");
    EXPECT_FALSE(fs::exists(target()));
    EXPECT_THAT(namesIn(server_.directory()), Not(Contains(HasSubstr(".restoring-"))));
}

TEST_F(RestoreCommand, ShowsProgressOnATerminal)
{
    const ProgramRun run = runOnTerminal(QUORVACTL_BINARY, restoreArguments(backup(), target()));
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, restoreOutput("t: 2 items\n", "1 table with 2 items", target()));
    EXPECT_THAT(run.error, AllOf(HasSubstr("\r\033[Kcopying 1/3"), HasSubstr("\r\033[Kcopying 3/3"),
                                 HasSubstr("\r\033[Krecovering"), HasSubstr("\r\033[Kverifying 0/2"),
                                 EndsWith("\r\033[Kverifying 2/2\r\n")));

    const ProgramRun failed = runOnTerminal(QUORVACTL_BINARY, restoreArguments(backup(), target()));
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(failed.error, "quorvactl: " + target() + " is not empty\r\n");
}

TEST_F(RestoreCommand, RefusesACopyThatLacksAFileOfItsList)
{
    for (const std::string& name : namesIn(backup())) {
        SCOPED_TRACE(name);
        writeListOf(backup());
        const std::string away = pathOf("away");
        fs::rename(backup() + '/' + name, away);
        if (fs::exists(listIn(backup()))) // it was not the list itself
            expectRefusal(backup(), target(), backup() + " is incomplete: " + name + " is missing");
        fs::rename(away, backup() + '/' + name);
    }
    writeListOf(backup());
    EXPECT_EQ(restore(backup(), target()).error, "");
}

TEST_F(RestoreCommand, RefusesACopyWithAFileThatIsNotWhatWasCopied)
{
    writeListOf(backup());
    fs::copy(backup(), pathOf("pristine"), fs::copy_options::recursive);
    for (const std::string& name : namesIn(backup())) {
        SCOPED_TRACE(name);
        if (backup() + '/' + name == listIn(backup()))
            continue;
        const auto size = fs::file_size(backup() + '/' + name);
        damage(name, static_cast<std::streamoff>(size) - 1, 1); // where a database has nothing that it would miss
        expectRefusal(backup(), target(), backup() + ": " + name + " is damaged: its checksum does not match");
        fs::resize_file(backup() + '/' + name, size - 1);
        expectRefusal(backup(), target(),
                      backup() + " is damaged: " + name + " has " + std::to_string(size - 1) + " bytes instead of " +
                          std::to_string(size));
        fs::copy_file(pathOf("pristine/") + name, backup() + '/' + name, fs::copy_options::overwrite_existing);
    }
    EXPECT_EQ(restore(backup(), target()).error, "");
}

TEST_F(RestoreCommand, RefusesAListThatIsNotWhole)
{
    writeListOf(backup());
    fs::resize_file(listIn(backup()), fs::file_size(listIn(backup())) - 1);
    expectRefusal(backup(), target(), listIn(backup()) + " is cut off");
}

TEST_F(RestoreCommand, TakesACopyWithoutAListOnlyWhenToldTo)
{
    fs::remove(listIn(backup()));
    const ProgramRun refused = runProgram(QUORVACTL_BINARY, {"restore", backup(), target()});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.output, "");
    EXPECT_EQ(refused.error, "quorvactl: " + backup() +
                                 " has no BackupFiles.list, so missing files cannot be detected; --without-list "
                                 "restores the files that exist\n");
    EXPECT_FALSE(fs::exists(target()));
    const ProgramRun run = runProgram(QUORVACTL_BINARY, {"restore", "--without-list", backup(), target()});
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_EQ(itemsOf(tableIn(target()), {"k"}).size(), 2U);
}

TEST_F(RestoreCommand, LeavesOutTheSettingsOfADirectoryWithoutAList)
{
    fs::remove(listIn(backup()));
    std::ofstream(backup() + "/DB_CONFIG") << "set_lk_max_locks 5000\n";
    const ProgramRun run = restore(backup(), target());
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.error,
              "quorvactl: " + backup() + "/DB_CONFIG is skipped: an environment's settings are not restored\n");
    EXPECT_FALSE(fs::exists(target() + "/DB_CONFIG"));
    EXPECT_EQ(itemsOf(tableIn(target()), {"k"}).size(), 2U);
}

TEST_F(RestoreCommand, LeavesOutWhatIsNotInTheList)
{
    writeListOf(backup());
    std::ofstream(backup() + "/notes.txt") << "somebody's notes";
    fs::create_directory(backup() + "/more");
    std::ofstream(backup() + "/more/log.0000000001") << "no log";
    const ProgramRun run = restore(backup(), target());
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, restoreOutput("t: 2 items\n", "1 table with 2 items", target()));
    EXPECT_EQ(run.error,
              "quorvactl: " + backup() + "/more/log.0000000001 is skipped: it is not in the copy's list of files\n" +
                  "quorvactl: " + backup() + "/notes.txt is skipped: it is not in the copy's list of files\n");
    EXPECT_FALSE(fs::exists(target() + "/more"));
    EXPECT_FALSE(fs::exists(target() + "/notes.txt"));
}

TEST_F(RestoreCommand, RestoresTablesInDirectoriesAndWithNamesLikeThoseOfLogs)
{
    // A closed directory is as good as a copy of it.
    const std::string source = makeDirectory("source");
    const std::vector<std::string> names{"sub/t", "sub/deeper/log.1a", "log.events", "log.a1"};
    for (const std::string& name : names) {
        const QString table = QString::fromStdString(source + '|' + name);
        createTable(table);
        request("PutItem", {{"TableName", table}, {"Item", QVariantMap{{"h", textValue("k")}, {"r", textValue("r")}}}});
    }
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableIn(source)}}), okReply());
    writeListOf(source);
    const ProgramRun run = restore(source, target());
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_THAT(run.output, restoreOutput("log.a1: 1 item\nlog.events: 1 item\nsub/deeper/log.1a: 1 item\n"
                                          "sub/t: 1 item\n",
                                          "4 tables with 4 items", target()));
    for (const std::string& name : names)
        EXPECT_EQ(itemsOf(QString::fromStdString(target() + '|' + name), {"k"}).size(), 1U) << name;
}

TEST_F(RestoreCommand, RefusesShippedLogFilesOfAnotherEnvironment)
{
    writeListOf(backup());
    const std::string other = makeDirectory("other");
    createTable(tableIn(other));
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableIn(other)}}), okReply());
    fs::create_directory(backup() + "/__log__");
    fs::copy_file(other + '/' + logName(1), backup() + "/__log__/" + logName(1));
    expectRefusal(backup(), target(),
                  backup() + ": __log__/" + logName(1) + " is damaged: its checksum does not match");
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
