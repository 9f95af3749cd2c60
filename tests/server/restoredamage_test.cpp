#include "restorefixture.h"

namespace {

namespace fs = std::filesystem;

} // namespace

TEST_F(Restore, NamesTheLogFileThatIsNotWhole)
{
    put("k", "before", {{"a", textValue("x")}});
    backUpTo(makeDirectory("backup")); // contains the beginning of log file 1
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
