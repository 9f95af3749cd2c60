#include "restorecommandfixture.h"

#include <fcntl.h>
#include <sys/file.h>

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::AnyOf;
using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

} // namespace

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
    // As during a copy; the server may still be looking for log files to ship.
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

TEST_F(RestoreCommand, ReportsWhatItCannotRead)
{
    fs::remove(listIn(backup()));
    fs::create_symlink("BackupFiles.list", listIn(backup())); // points to itself
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
    damage(file, 2048, 2048); // a page after the first
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
    // A file size limit of one block stands in for a full disk; the log file is larger.
    std::vector<std::string> words = restoreArguments(backup(), target());
    words.insert(words.begin(), {"-c", "trap '' XFSZ; ulimit -f 1; exec \"$@\"", "sh", QUORVACTL_BINARY});
    const ProgramRun run = runProgram("/bin/sh", words);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.error, "quorvactl: cannot copy " + backup() + '/' + logName(1) + ": File too large\n");
    EXPECT_FALSE(fs::exists(target()));
    EXPECT_THAT(namesIn(server_.directory()), Not(Contains(HasSubstr(".restoring-"))));
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
