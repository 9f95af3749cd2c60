#include "base/directorylock.h"
#include "support/directorycontents.h"
#include "toolfixture.h"

#include <db_cxx.h>

#include <filesystem>
#include <fstream>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

/** A table with some items, in a directory that no server has open. */
class Check : public ToolTest {
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        for (const char* hash : {"a", "b", "c"})
            expectOutput({"put", table(), std::string("h=S:") + hash, "r=S:1", "v=S:x"}, "");
    }

    /** A copy of the closed directory, which is not open either. */
    std::string closed(bool cleanly = true)
    {
        if (cleanly)
            expectOutput({"delete-table", table()}, "closed " + home() + "; its files are still there\n");
        else
            killServer();
        fs::copy(home(), pathOf("closed"), fs::copy_options::recursive);
        return pathOf("closed");
    }

    /** The data file of a hash key. */
    static std::string dataFile(const QByteArray& hash)
    {
        const QByteArray digest = QCryptographicHash::hash(hash, QCryptographicHash::Md5);
        return "t_" + digest.mid(3, 1).toHex().toStdString() + ".db";
    }

    /** Writes a record into a database file, without a log. */
    static void write(const std::string& file, std::string key, std::string text)
    {
        Db db(nullptr, DB_CXX_NO_EXCEPTIONS);
        ASSERT_EQ(db.open(nullptr, file.c_str(), "data", DB_BTREE, 0, 0), 0);
        Dbt keyBytes(key.data(), static_cast<u_int32_t>(key.size()));
        Dbt textBytes(text.data(), static_cast<u_int32_t>(text.size()));
        ASSERT_EQ(db.put(nullptr, &keyBytes, &textBytes, 0), 0);
        ASSERT_EQ(db.close(0), 0);
    }

    /** The check finds defects, which it prints like this, and changes nothing. */
    void expectDefects(const std::string& directory, const testing::Matcher<std::string>& output, int defects = 1) const
    {
        const auto before = contentsOf(directory);
        const ProgramRun run = ::quorvactl({"check", directory});
        EXPECT_EQ(run.status, ErrorReply);
        EXPECT_THAT(run.output, output);
        EXPECT_EQ(run.error, "quorvactl: " + directory + " has " + std::to_string(defects) +
                                 (defects == 1 ? " defect" : " defects") +
                                 "\n  try: a restore of the last backup; what can be read can be exported\n");
        EXPECT_EQ(contentsOf(directory), before);
        EXPECT_THAT(namesIn(pathOf("")), testing::Not(testing::Contains(StartsWith("quorvactl-check-"))));
    }
};

constexpr const char* Counts = "t: 3 items in 4 files\n";

} // namespace

TEST_F(Check, ADirectoryWithoutDefectsIsNotChanged)
{
    for (const bool cleanly : {true, false}) {
        const std::string directory = closed(cleanly);
        const auto before = contentsOf(directory);
        const ProgramRun run = ::quorvactl({"check", directory});
        EXPECT_EQ(run.status, Ok) << run.error;
        EXPECT_EQ(run.output, Counts + ("no defects in " + directory + '\n'));
        EXPECT_EQ(run.error, "");
        EXPECT_EQ(contentsOf(directory), before);
        EXPECT_THAT(namesIn(pathOf("")), testing::Not(testing::Contains(StartsWith("quorvactl-check-"))));
        fs::remove_all(directory);
        if (cleanly)
            expectOutput({"get", table(), "a", "1"}, "{\"h\":{\"S\":\"a\"},\"r\":{\"S\":\"1\"},\"v\":{\"S\":\"x\"}}\n");
    }
}

TEST_F(Check, AnOpenDirectoryIsRefused)
{
    const ProgramRun run = ::quorvactl({"check", home()});
    EXPECT_EQ(run.status, ErrorReply);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.error, "quorvactl: cannot check " + home() + ": " + home() +
                             " is open in a server, or another command uses it; quorvactl delete-table closes it\n");
}

TEST_F(Check, WhatIsNoDirectoryForTablesIsRefused)
{
    const auto complaint = [&](const std::string& directory) { return ::quorvactl({"check", directory}).error; };
    EXPECT_THAT(complaint(pathOf("none")), HasSubstr(": there is no directory "));
    EXPECT_THAT(complaint(writeFile("file", "x")), HasSubstr(" is not a directory\n"));
    EXPECT_THAT(complaint(makeDirectory("empty")), HasSubstr(": there are no tables in "));
    const std::string backup = makeDirectory("backup");
    std::ofstream(backup + "/BackupFiles.list") << "x";
    EXPECT_THAT(complaint(backup), HasSubstr(" contains a backup; quorvactl restore checks it\n"));
}

TEST_F(Check, ADamagedPageIsADefect)
{
    const std::string directory = closed();
    std::fstream file(directory + '/' + dataFile("a"), std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(3 * 2048 + 26);
    file << std::string(100, '\xff');
    file.close();
    expectDefects(directory, MatchesRegex(dataFile("a") + ": damaged: .+\nt: 2 items in 4 files\n"));
}

TEST_F(Check, ADamagedFirstPageIsADefect)
{
    const std::string directory = closed();
    for (const std::string& name : {dataFile("a"), std::string("t")}) {
        std::fstream file(directory + '/' + name, std::ios::in | std::ios::out | std::ios::binary);
        file << std::string(64, '\0');
    }
    const ProgramRun run = ::quorvactl({"check", directory});
    EXPECT_EQ(run.status, ErrorReply);
    EXPECT_THAT(run.output, HasSubstr(dataFile("a") + ": damaged: "));
    EXPECT_THAT(run.output, HasSubstr("\nt: damaged: "));
}

TEST_F(Check, AnItemInTheWrongFileIsADefect)
{
    const std::string directory = closed();
    write(directory + '/' + dataFile("a"), "0001b2", "{}");
    expectDefects(directory, dataFile("a") + ": the item with the key \"0001b2\" does not belong in this file\n" +
                                 "t: 4 items in 4 files\n");
}

TEST_F(Check, AnItemThatIsNoJsonIsADefect)
{
    const std::string directory = closed();
    write(directory + '/' + dataFile("a"), "0001a2", "{\"v\":");
    write(directory + '/' + dataFile("a"), "0001a\"\xe4", "[]");
    expectDefects(directory,
                  MatchesRegex(dataFile("a") + ": the item with the key \"0001a\\\\x22\\\\xe4\" is not an object\n" +
                               dataFile("a") + ": the item with the key \"0001a2\" is not valid JSON: .+\n" +
                               "t: 5 items in 4 files\n"),
                  2);
}

TEST_F(Check, AMissingFileIsADefect)
{
    const std::string directory = closed();
    fs::remove(directory + '/' + dataFile("b"));
    expectDefects(directory,
                  dataFile("b") + ": the file is missing; the log shows that it existed\n" + "t: 2 items in 3 files\n");
}

TEST_F(Check, AMissingDescriptionIsADefect)
{
    const std::string directory = closed();
    fs::remove(directory + "/t");
    expectDefects(directory,
                  "t: the file is missing; the log shows that it existed\n"
                  "t: the table has items, but no description\n"
                  "t: 3 items in 3 files\n",
                  2);
}

TEST_F(Check, ARemovedTableIsNoDefect)
{
    createTable(tableName("other"));
    expectOutput({"put", table("other"), "h=S:a", "r=S:1"}, "");
    EXPECT_EQ(request("Quorva_1.DropTable", {{"TableName", tableName()}}).value("__rc"), QVariant(200LL));
    killServer();
    const ProgramRun run = ::quorvactl({"check", home()});
    EXPECT_EQ(run.status, Ok) << run.output;
    EXPECT_EQ(run.output, "other: 1 item in 2 files\nno defects in " + home() + '\n');
}

TEST_F(Check, TheCopyOfACheckThatWasKilledIsRemovedAndThatOfARunningOneIsNot)
{
    const std::string directory = closed();
    const std::string left = makeDirectory("quorvactl-check-aaaaaa");
    std::ofstream(left + "/t") << "x";
    Base::DirectoryLock lock;
    ASSERT_EQ(lock.lock(makeDirectory("quorvactl-check-bbbbbb")), 0);
    makeDirectory("quorvactl-check-notes"); // is not ours
    const ProgramRun run = ::quorvactl({"check", directory});
    EXPECT_EQ(run.status, Ok);
    EXPECT_EQ(run.error, "quorvactl: removed " + left + ", left by an interrupted check\n");
    EXPECT_THAT(namesIn(pathOf("")), testing::IsSupersetOf({"quorvactl-check-bbbbbb", "quorvactl-check-notes"}));
    EXPECT_FALSE(fs::exists(left));
}

TEST_F(Check, ATableIsNoDirectory)
{
    const ProgramRun run = ::quorvactl({"check", table()});
    EXPECT_EQ(run.status, ErrorReply);
    EXPECT_EQ(run.error, "quorvactl: cannot check " + table() + ": there is no directory " + table() +
                             "\n  try: quorvactl check '" + home() + "', which checks all tables in it\n");
}

TEST_F(Check, NamesAndMessagesStayOnTheirLines)
{
    const std::string directory = makeDirectory("two\nlines\033[2J");
    fs::copy(closed(), directory, fs::copy_options::recursive);
    const std::string shown = pathOf("two\\nlines\\u001b[2J");
    EXPECT_EQ(::quorvactl({"check", directory}).output, Counts + ("no defects in " + shown + '\n'));
    EXPECT_EQ(::quorvactl({"check", directory + "/none"}).error,
              "quorvactl: cannot check " + shown + "/none: there is no directory " + shown + "/none\n");
}

TEST_F(Check, SaysWhatItSkipsBehindALink)
{
    const std::string directory = closed();
    fs::create_directory_symlink(makeDirectory("elsewhere"), directory + "/link");
    const ProgramRun run = ::quorvactl({"check", directory});
    EXPECT_EQ(run.status, Ok);
    EXPECT_EQ(run.output, Counts + ("no defects in " + directory + '\n'));
    EXPECT_EQ(run.error, "quorvactl: " + directory + "/link is a link, and what is behind it is not checked\n");
}

TEST_F(Check, TheCopyIsMadeWhereItIsRequested)
{
    const std::string directory = closed();
    const ProgramRun run = ::quorvactl({"check", directory, "--scratch", pathOf("none")});
    EXPECT_EQ(run.status, ErrorReply);
    EXPECT_THAT(run.error, HasSubstr("cannot make a copy in " + pathOf("none") + ": No such file or directory\n"));
    EXPECT_EQ(::quorvactl({"check", directory, "--scratch", makeDirectory("scratch")}).status, Ok);
    EXPECT_THAT(namesIn(pathOf("scratch")), testing::IsEmpty());
}
