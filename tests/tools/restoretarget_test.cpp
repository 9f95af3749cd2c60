#include "support/backupfixture.h"

#include <ctime>
#include <optional>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::AnyOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

/** What a restore leaves when it is cut off. */
class RestoreTarget : public BackupTest {
protected:
    void SetUp() override
    {
        BackupTest::SetUp();
        for (int i = 0; i < 30; ++i)
            put(QString::number(i), "r", {{"a", textValue(QString(3000, 'x'))}}); // in many files
        backUpTo(makeDirectory("backup"));
        makeDirectory("place");
    }

    std::string backup() const { return pathOf("backup"); }
    std::string target() const { return pathOf("place/restored"); }

    /** The directories in the target's place that have the name of an unfinished restore. */
    std::vector<std::string> workDirectories() const
    {
        std::vector<std::string> paths;
        for (const std::string& name : namesIn(pathOf("place"))) {
            if (name.find(".restoring-") != std::string::npos)
                paths.push_back(pathOf("place/" + name));
        }
        return paths;
    }

    /** A restore that is stopped once `place` has at least that many files. */
    class Stopped {
    public:
        Stopped(const std::string& from, const std::string& to, const std::string& place, std::size_t files)
            : run_(QUORVACTL_BINARY, restoreArguments(from, to))
        {
            EXPECT_TRUE(waitUntil([&] { return filesBelow(place) >= files; }));
            run_.signal(SIGSTOP);
        }

        /** Sends the signal; the process goes on with it. */
        ProgramRun endBy(int signal)
        {
            run_.signal(signal);
            run_.signal(SIGCONT);
            return run_.wait();
        }

    private:
        static std::size_t filesBelow(const std::string& place)
        {
            std::size_t count = 0;
            std::error_code vanished;
            for (fs::recursive_directory_iterator entry(place, vanished);
                 !vanished && entry != fs::recursive_directory_iterator(); entry.increment(vanished))
                count += entry->is_regular_file(vanished) ? 1 : 0;
            return count;
        }

        RunningProgram run_;
    };

    /** A server that is asked for a table in the directory refuses because of the guard, and changes nothing there. */
    void expectNotOpened(const std::string& directory)
    {
        expectNotOpened(directory, testing::Contains(HasSubstr("unfinished_quorvactl_restore")));
    }

    /** Likewise at any instant: while databases are there and their log is not yet, that is the reason. */
    void expectNotOpenedAtAnyInstant(const std::string& directory)
    {
        expectNotOpened(directory, testing::Contains(AnyOf(
                                       HasSubstr("unfinished_quorvactl_restore"),
                                       AllOf(HasSubstr("Failed to open env path: " + directory), EndsWith(" rc 16")))));
    }

    void expectNotOpened(const std::string& directory,
                         const testing::Matcher<const std::vector<std::string>&>& complaints)
    {
        const auto before = contentsOf(directory);
        EXPECT_NE(request("PutItem", {{"TableName", tableIn(directory)},
                                      {"Item", QVariantMap{{"h", textValue("k")}, {"r", textValue("r")}}}})
                      .value("__rc"),
                  QVariant(200LL));
        EXPECT_NE(request("CreateTable", createBody(tableIn(directory))).value("__rc"), QVariant(200LL));
        EXPECT_EQ(contentsOf(directory), before);
        EXPECT_THAT(takeComplaints(), complaints);
    }

    static QVariantMap createBody(const QString& table)
    {
        const auto key = [](const char* name) { return QVariantMap{{"AttributeName", name}, {"AttributeType", "S"}}; };
        return {{"TableName", table},
                {"KeySchema", QVariantMap{{"HashKeyElement", key("h")}, {"RangeKeyElement", key("r")}}}};
    }

    void expectWhole(const std::string& directory)
    {
        QStringList hashes;
        for (int i = 0; i < 30; ++i)
            hashes.append(QString::number(i));
        EXPECT_EQ(itemsOf(tableIn(directory), hashes).size(), 30U);
        EXPECT_EQ(request("DeleteTable", {{"TableName", tableIn(directory)}}), okReply());
    }
};

} // namespace

TEST_F(RestoreTarget, AnInterruptionRemovesEverything)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        for (const bool existed : {false, true}) {
            SCOPED_TRACE(testing::Message() << signal << existed);
            if (existed)
                fs::create_directory(target());
            Stopped stopped(backup(), target(), pathOf("place"), 3);
            const ProgramRun run = stopped.endBy(signal);
            EXPECT_EQ(run.status, 1);
            EXPECT_EQ(run.output, "");
            EXPECT_EQ(run.error, "quorvactl: restore stopped: interrupted\n");
            EXPECT_EQ(fs::exists(target()), existed);
            EXPECT_THAT(namesIn(target()), IsEmpty());
            EXPECT_THAT(workDirectories(), IsEmpty());
            fs::remove(target());
        }
    }
}

TEST_F(RestoreTarget, AKilledOneLeavesADirectoryThatNoServerOpensAndTheNextOneRemoves)
{
    const std::size_t all = namesIn(backup()).size(); // the guard is there in place of the list
    for (const std::size_t files : {std::size_t{2}, all / 2, all}) {
        SCOPED_TRACE(files);
        Stopped stopped(backup(), target(), pathOf("place"), files);
        (void)stopped.endBy(SIGKILL);
        ASSERT_FALSE(fs::exists(target()));
        const std::vector<std::string> left = workDirectories();
        ASSERT_THAT(left, SizeIs(1));
        EXPECT_THAT(left.front(), StartsWith(target() + ".restoring-"));
        expectNotOpened(left.front());

        const ProgramRun run = restore(backup(), target());
        EXPECT_EQ(run.status, 0);
        EXPECT_THAT(run.output, HasSubstr("restored 1 table with 30 items to " + target() + '\n'));
        EXPECT_EQ(run.error, "quorvactl: removed " + left.front() + ", left by an interrupted restore\n");
        EXPECT_THAT(workDirectories(), IsEmpty());
        EXPECT_FALSE(fs::exists(target() + "/DB_CONFIG"));
        expectWhole(target());
        fs::remove_all(target());
    }
}

TEST_F(RestoreTarget, AKilledOneIntoADirectoryThatWasThereIsTheSame)
{
    fs::create_directory(target());
    fs::permissions(target(), fs::perms::owner_all);
    Stopped stopped(backup(), target(), target(), 5);
    (void)stopped.endBy(SIGKILL);
    EXPECT_THAT(workDirectories(), IsEmpty()) << "filled in place";
    expectNotOpened(target());

    const ProgramRun run = restore(backup(), target());
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.error, "quorvactl: removed the remains of an interrupted restore from " + target() + '\n');
    EXPECT_EQ(fs::status(target()).permissions(), fs::perms::owner_all);
    EXPECT_FALSE(fs::exists(target() + "/DB_CONFIG"));
    expectWhole(target());
}

TEST_F(RestoreTarget, KillsAtAnyInstantLeaveAllOrNothingToAServer)
{
    int cutOff = 0;
    for (int i = 0; i < 25; ++i) {
        SCOPED_TRACE(i);
        {
            RunningProgram run(QUORVACTL_BINARY, restoreArguments(backup(), target()));
            EXPECT_TRUE(waitUntil([&] { return !workDirectories().empty() || fs::exists(target()); }));
            std::this_thread::sleep_for(std::chrono::milliseconds(i * 4)); // the instant
            run.signal(SIGKILL);
            (void)run.wait();
        }
        for (const std::string& left : workDirectories()) {
            ++cutOff;
            if (namesIn(left).size() > 1) // before that there is nothing of the backup in it
                expectNotOpenedAtAnyInstant(left);
        }
        if (fs::exists(target() + "/DB_CONFIG"))
            expectNotOpened(target());
        else if (fs::exists(target()))
            expectWhole(target());
        if (fs::exists(target()) && !fs::exists(target() + "/DB_CONFIG"))
            fs::remove_all(target());
    }
    EXPECT_GT(cutOff, 0);
    EXPECT_EQ(restore(backup(), target()).status, 0);
    expectWhole(target());
    EXPECT_THAT(namesIn(pathOf("place")), ElementsAre("restored"));
}

TEST_F(RestoreTarget, CutOffAtItsVeryEndIsRestoredOnceMore)
{
    // Between the renaming and the removal of the file that keeps servers out.
    Stopped stopped(backup(), target(), pathOf("place"), 2);
    (void)stopped.endBy(SIGKILL);
    ASSERT_THAT(workDirectories(), SizeIs(1));
    const std::string guard = pathOf("guard");
    fs::copy_file(workDirectories().front() + "/DB_CONFIG", guard);
    ASSERT_EQ(restore(backup(), target()).status, 0);
    fs::copy_file(guard, target() + "/DB_CONFIG");
    expectNotOpened(target());

    const ProgramRun run = restore(backup(), target());
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.error, "quorvactl: removed the remains of an interrupted restore from " + target() + '\n');
    expectWhole(target());
}

TEST_F(RestoreTarget, CutOffAtItsVeryBeginningLeavesNothingForever)
{
    fs::create_directory(target() + ".restoring-aaaaaa");
    fs::create_directory(target() + ".restoring-bbbbbb");
    std::ofstream(target() + ".restoring-bbbbbb/DB_CONFIG").flush();
    fs::create_directory(target() + ".restoring-cccccc"); // holds something else: not ours
    std::ofstream(target() + ".restoring-cccccc/t").flush();
    EXPECT_EQ(restore(backup(), target()).status, 0);
    EXPECT_THAT(namesIn(pathOf("place")), ElementsAre("restored", "restored.restoring-cccccc"));
    EXPECT_THAT(namesIn(target() + ".restoring-cccccc"), ElementsAre("t"));
}

TEST_F(RestoreTarget, SettingsThatSomebodyPutThereAreNoLeftover)
{
    fs::create_directory(target());
    std::ofstream(target() + "/DB_CONFIG") << "set_lg_max 20971520\n";
    const auto before = contentsOf(target());
    const ProgramRun run = restore(backup(), target());
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.error, "quorvactl: " + target() + " is not empty\n");
    EXPECT_EQ(contentsOf(target()), before);
}

TEST_F(RestoreTarget, TwoRestoresToOneTargetAreOneTooMany)
{
    Stopped stopped(backup(), target(), pathOf("place"), 3);
    const std::vector<std::string> left = workDirectories();
    ASSERT_THAT(left, SizeIs(1));
    const ProgramRun second = restore(backup(), target());
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.error, "quorvactl: another restore to " + target() + " is running, in " + left.front() + '\n');
    EXPECT_EQ(workDirectories(), left);
    const ProgramRun first = stopped.endBy(SIGCONT);
    EXPECT_EQ(first.status, 0) << first.error;
    expectWhole(target());
}

TEST_F(RestoreTarget, ATargetThatCameIntoBeingMeanwhileIsLeftAlone)
{
    Stopped stopped(backup(), target(), pathOf("place"), 3);
    fs::create_directory(target());
    const ProgramRun run = stopped.endBy(SIGCONT);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.error, AllOf(StartsWith("quorvactl: cannot rename " + target() + ".restoring-"),
                                 EndsWith(" to " + target() + ": File exists\n")));
    EXPECT_THAT(workDirectories(), IsEmpty());
    EXPECT_THAT(namesIn(target()), IsEmpty());
}

TEST_F(RestoreTarget, ALinkToADirectoryStaysALink)
{
    fs::create_directory(pathOf("elsewhere"));
    fs::create_directory_symlink(pathOf("elsewhere"), target());
    EXPECT_EQ(restore(backup(), target()).status, 0);
    EXPECT_TRUE(fs::is_symlink(target()));
    expectWhole(pathOf("elsewhere"));

    fs::create_directory_symlink(pathOf("nowhere"), pathOf("place/dangling"));
    const ProgramRun run = restore(backup(), pathOf("place/dangling"));
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.error, "quorvactl: cannot create " + pathOf("place/dangling") + ": File exists\n");
}

TEST_F(RestoreTarget, HasTheAccessModeOfANewDirectory)
{
    std::vector<std::string> words = restoreArguments(backup(), target());
    words.insert(words.begin(), {"-c", "umask 027; exec \"$@\"", "sh", QUORVACTL_BINARY});
    const ProgramRun run = runProgram("/bin/sh", words);
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_EQ(static_cast<int>(fs::status(target()).permissions()), 0750);
}
