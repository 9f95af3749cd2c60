#include "storage/loghold.h"

#include "hotbackupfixture.h"
#include "maintenancesupport.h"
#include "support/tempdir.h"

#include <cerrno>
#include <chrono>

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

bool mayRemove(LogHold& hold)
{
    return LogHold::Removal(hold).isAllowed();
}

std::optional<QByteArray> targetOf(const LogHold& hold)
{
    const auto holder = hold.holder();
    return holder ? std::optional(holder->target) : std::nullopt;
}

/** A hold in a directory that removes unneeded log files. */
class Hold : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(hold_.open(home_.path(), true), 0); }
    void TearDown() override { Settings::setBackupDisabled(0); }

    /** What the next server finds after this one was killed. */
    std::optional<LogHold::Holder> holderOnDisk() const
    {
        LogHold other;
        EXPECT_EQ(other.open(home_.path(), true), 0);
        return other.holder();
    }
    void expectHolder(const std::optional<QByteArray>& target)
    {
        EXPECT_EQ(targetOf(hold_), target);
        const auto onDisk = holderOnDisk();
        EXPECT_EQ(onDisk ? std::optional(onDisk->target) : std::nullopt, target);
        EXPECT_EQ(mayRemove(hold_), !target);
    }

    TempDir home_;
    LogHold hold_;
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

TEST_F(Hold, IsSinceItsBackupBeganWhateverHappensToTheServer)
{
    const auto begun = std::chrono::system_clock::now();
    EXPECT_EQ(hold_.take("/backup", LogHold::Copy), 0);
    const auto since = hold_.holder()->since;
    EXPECT_GE(since, begun);
    EXPECT_LE(since, std::chrono::system_clock::now());
    EXPECT_EQ(holderOnDisk()->since, since);
    hold_.settle();
    EXPECT_EQ(hold_.take("/backup", LogHold::Shipping), 0); // resumed
    EXPECT_EQ(hold_.holder()->since, since);
    hold_.fail();
    EXPECT_EQ(holderOnDisk()->since, since);
    EXPECT_EQ(hold_.take("/other", LogHold::Copy), 0);
    EXPECT_GT(hold_.holder()->since, since);
    hold_.fail();
    EXPECT_EQ(hold_.holder()->since, since);
    EXPECT_EQ(holderOnDisk()->since, since);
    EXPECT_EQ(hold_.take("/backup", LogHold::Copy), 0);
    EXPECT_GT(holderOnDisk()->since, since) << "the earlier copy is replaced";
}

TEST(LogHold, HasNoEffectInOtherDirectories)
{
    const RestoredSettings restored;
    const TempDir home;
    LogHold hold;
    ASSERT_EQ(hold.open(home.path(), false), 0);
    EXPECT_FALSE(mayRemove(hold));
    EXPECT_EQ(hold.take("/backup", LogHold::Copy), 0);
    EXPECT_EQ(targetOf(hold), std::nullopt);
    Settings::setBackupDisabled(1);
    EXPECT_TRUE(mayRemove(hold));
    EXPECT_THAT(filesIn(home.path()), IsEmpty());
}
