#include "restorecommandfixture.h"

namespace {

namespace fs = std::filesystem;

} // namespace

TEST_F(RestoreCommand, RefusesACopyThatLacksAFileOfItsList)
{
    for (const std::string& name : namesIn(backup())) {
        SCOPED_TRACE(name);
        writeListOf(backup());
        const std::string away = pathOf("away");
        fs::rename(backup() + '/' + name, away);
        if (fs::exists(listIn(backup()))) // otherwise it was the list itself
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
        damage(name, static_cast<std::streamoff>(size) - 1, 1); // where damage to a database has no effect
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
