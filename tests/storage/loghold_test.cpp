#include "storage/loghold.h"

#include "hotbackupfixture.h"
#include "maintenancesupport.h"
#include "storage/bdbcheckpointthread.h"
#include "support/tempdir.h"

#include <algorithm>
#include <cerrno>
#include <fstream>

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* Removes = "set_lg_max 4194304\n#quorva remove_unneeded_logs on\n";

bool mayRemove(LogHold& hold)
{
    return LogHold::Removal(hold).isAllowed();
}

/** The numbers of the log files in a directory. */
std::vector<int> logNumbers(const std::string& directory)
{
    std::vector<int> numbers;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        const std::string name = entry.path().filename();
        if (name.starts_with("log."))
            numbers.push_back(std::stoi(name.substr(4)));
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

/** A hold in a directory that removes unneeded log files. */
class Hold : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(hold_.open(home_.path(), true), 0); }
    void TearDown() override { Settings::setBackupDisabled(0); }

    /** What a server finds that is started after this one was killed. */
    std::optional<QByteArray> holderOnDisk() const
    {
        LogHold other;
        EXPECT_EQ(other.open(home_.path(), true), 0);
        return other.holder();
    }
    void expectHolder(const std::optional<QByteArray>& holder)
    {
        EXPECT_EQ(hold_.holder(), holder);
        EXPECT_EQ(holderOnDisk(), holder);
        EXPECT_EQ(mayRemove(hold_), !holder);
    }

    TempDir home_;
    LogHold hold_;
};

/** An environment that removes unneeded log files, and a backup thread for it. */
class HeldLog : public HotBackup {
protected:
    void SetUp() override
    {
        HotBackup::SetUp();
        std::ofstream(env_.file("DB_CONFIG")) << Removes;
        reopen();
    }

    /** What happens to an environment when a server ends and another one begins; its own checkpoint has ended then. */
    void reopen()
    {
        thread_.reset();
        log_.reset();
        log_ = std::make_unique<LogCapture>(LogInfo);
        env_.reopen();
        ASSERT_TRUE(log_->waitFor("Done txn_checkpoint"));
    }

    /** Writes until the environment begins the log file of that number. */
    void writeUntil(int log)
    {
        for (; logNumbers(env_.path()).empty() || logNumbers(env_.path()).back() < log; ++written_)
            put(written_, 500'000);
    }

    /** A checkpoint of its own, and what follows it. One that has nothing to do would not count. */
    void checkpoint()
    {
        put(written_++, 10);
        LogCapture log(LogInfo);
        BDBCheckpointThread cycle(env_.get(), 24h);
        ASSERT_TRUE(log.waitFor("Done txn_checkpoint"));
        cycle.stop();
        cycle.waitStopped();
    }

    int written_ = 0;
};

} // namespace

TEST_F(Hold, IsTakenByABackupAndKeptWhateverHappensToTheServer)
{
    expectHolder(std::nullopt);
    EXPECT_EQ(hold_.take("/backup", LogHold::Copy), 0);
    expectHolder("/backup");
    hold_.settle();
    expectHolder("/backup");
    Settings::setBackupDisabled(1);
    expectHolder("/backup"); // a backup of another directory was stopped
}

TEST_F(Hold, EndsWhenTheBackupIsStopped)
{
    EXPECT_EQ(hold_.take("/backup", LogHold::Copy), 0);
    hold_.release();
    expectHolder(std::nullopt);
    hold_.release();
    expectHolder(std::nullopt);
    EXPECT_THAT(filesIn(home_.path()), IsEmpty());
}

TEST_F(Hold, OfAFailedCopyGoesBackToTheBackupThatItWasToReplace)
{
    EXPECT_EQ(hold_.take("/old", LogHold::Copy), 0);
    hold_.settle();
    EXPECT_EQ(hold_.take("/new", LogHold::Copy), 0);
    expectHolder("/new");
    hold_.fail();
    expectHolder("/old");
    EXPECT_EQ(hold_.take("/old", LogHold::Shipping), 0);
    hold_.fail(); // its disk is not mounted
    expectHolder("/old");
    EXPECT_EQ(hold_.take("/old", LogHold::Copy), 0);
    hold_.fail();
    expectHolder(std::nullopt);
}

TEST_F(Hold, EndsWhenTheBackupFailsLater)
{
    EXPECT_EQ(hold_.take("/backup", LogHold::Shipping), 0);
    hold_.settle();
    hold_.fail();
    expectHolder(std::nullopt);
}

TEST_F(Hold, ABackupThatCannotBeRecordedDoesNotBegin)
{
    std::filesystem::create_directory(home_.file("BackupLog.hold.new"));
    const LogCapture log(LogWarn);
    EXPECT_EQ(hold_.take("/backup", LogHold::Copy), EISDIR);
    expectHolder(std::nullopt);
    EXPECT_THAT(log.lines(), ElementsAre("[WARN] DB Backup cannot record in " + home_.file("BackupLog.hold") +
                                         " who needs the log files rc 21"));
}

TEST(LogHold, HasNoEffectInOtherDirectories)
{
    const RestoredSettings restored;
    const TempDir home;
    LogHold hold;
    ASSERT_EQ(hold.open(home.path(), false), 0);
    EXPECT_FALSE(mayRemove(hold));
    EXPECT_EQ(hold.take("/backup", LogHold::Copy), 0);
    Settings::setBackupDisabled(1);
    EXPECT_TRUE(mayRemove(hold));
    EXPECT_THAT(filesIn(home.path()), IsEmpty());
}

TEST_F(HeldLog, WithoutABackupTheLogStaysSmall)
{
    writeUntil(3);
    {
        BDBCheckpointThread cycles(env_.get(), 1ms);
        writeUntil(12);
        cycles.stop();
        cycles.waitStopped();
    }
    checkpoint();
    EXPECT_EQ(logNumbers(env_.path()).size(), 1U);
    EXPECT_GE(logNumbers(env_.path()).front(), 12);
}

TEST_F(HeldLog, NoLogFileIsLostBetweenTheCopyAndTheShippingThatIsResumed)
{
    writeUntil(3);
    checkpoint();
    const int first = logNumbers(env_.path()).front();
    EXPECT_GE(first, 3);
    backUp(); // ends the shipping, like the end of a server
    EXPECT_EQ(readFile(env_.file("BackupLog.hold")), target_ + "\n");
    writeUntil(first + 3);
    checkpoint();
    reopen();
    Settings::setBackupDisabled(1); // by the stop of another directory's backup
    checkpoint();
    EXPECT_EQ(logNumbers(env_.path()).front(), first);
    ship();
    EXPECT_EQ(logNumbers(target_ + "/__log__").front(), first);
    EXPECT_EQ(logNumbers(target_ + "/__log__").back() + 1, logNumbers(env_.path()).front());
    writeUntil(logNumbers(env_.path()).back() + 2);
    checkpoint();
    const int next = logNumbers(target_ + "/__log__").back() + 1;
    EXPECT_EQ(logNumbers(env_.path()).front(), next) << "shipped by the next backup update";
}

TEST_F(HeldLog, UnderLoadEachLogFileIsShippedOrStillThere)
{
    backUp();
    thread(1ms);
    EXPECT_EQ(thread_->schedule(target(), BackupShipLogs), 0);
    BDBCheckpointThread cycles(env_.get(), 1ms);
    const int last = logNumbers(env_.path()).back() + 8;
    writeUntil(last);
    cycles.stop();
    cycles.waitStopped();
    thread_.reset();
    checkpoint();
    ship();
    std::vector<int> numbers = logNumbers(target_ + "/__log__");
    for (const int number : logNumbers(env_.path()))
        numbers.push_back(number);
    ASSERT_FALSE(numbers.empty());
    for (std::size_t i = 1; i < numbers.size(); ++i)
        EXPECT_EQ(numbers[i], numbers[i - 1] + 1);
    EXPECT_LE(numbers.front(), logNumbers(target_).back());
}

TEST_F(HeldLog, AStopLetsTheNextCheckpointRemoveThem)
{
    backUp();
    writeUntil(4);
    checkpoint();
    EXPECT_EQ(logNumbers(env_.path()).front(), 1);
    EXPECT_EQ(thread().schedule(target(), BackupStop), 0);
    Settings::setBackupDisabled(0); // by the start of another directory's backup
    checkpoint();
    EXPECT_GE(logNumbers(env_.path()).front(), 4);
}

TEST_F(HeldLog, AFailedCopyLeavesTheLogToTheBackupBefore)
{
    backUp();
    EXPECT_EQ(thread().schedule("", BackupFull), 0);
    ASSERT_TRUE(log_->waitFor("Disabling Database Backup"));
    thread_.reset();
    EXPECT_EQ(env_->logHold().holder(), QByteArray::fromStdString(target_));
    writeUntil(4);
    checkpoint();
    EXPECT_EQ(logNumbers(env_.path()).front(), 1);
    thread_.reset();
    ship();
}
