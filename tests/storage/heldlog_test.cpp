/* The log files of an environment in use that removes unneeded ones, with and without backups. */
#include "storage/loghold.h"

#include "hotbackupfixture.h"
#include "maintenancesupport.h"
#include "storage/bdbcheckpointthread.h"

#include <algorithm>
#include <fstream>

namespace {

using namespace std::chrono_literals;

constexpr const char* Removes = "set_lg_max 4194304\n#quorva remove_unneeded_logs on\n";

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

/** An environment that removes unneeded log files, and a backup thread for it. */
class HeldLog : public HotBackup {
protected:
    void SetUp() override
    {
        HotBackup::SetUp();
        std::ofstream(env_.file("DB_CONFIG")) << Removes;
        reopen();
    }

    /** The effect on an environment of a server's exit and the next one's start, including its first checkpoint. */
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

    /** A checkpoint with the removal that follows it. One that has nothing to do would not count. */
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
    EXPECT_EQ(env_->logHold().holder().value().target, QByteArray::fromStdString(target_));
    writeUntil(4);
    checkpoint();
    EXPECT_EQ(logNumbers(env_.path()).front(), 1);
    thread_.reset();
    ship();
}
