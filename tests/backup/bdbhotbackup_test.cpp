#include "storage/bdbhotbackup.h"

#include "storage/bdbtxn.h"
#include "storage/settings.h"
#include "support/logcapture.h"
#include "support/systemcallfilter.h"
#include "support/tempenv.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::ElementsAre;
using testing::MatchesRegex;

constexpr const char* Marker = "/BackupInProgress.tmp";

/**
 * Writes the files of a copy as Berkeley DB does it, and calls a function when the first of them is complete: what
 * happens then happens in the middle of the copy, whatever the time that it takes.
 */
class CopyInterrupted {
public:
    CopyInterrupted(BDBEnv* env, std::function<void()> inTheMiddle)
    {
        (void)exchange(std::move(inTheMiddle));
        EXPECT_EQ(env->set_backup_callbacks(openFile, writeFile, closeFile), 0);
    }
    ~CopyInterrupted() { (void)exchange(nullptr); }
    CopyInterrupted(const CopyInterrupted&) = delete;
    CopyInterrupted& operator=(const CopyInterrupted&) = delete;

private:
    static int openFile(DbEnv*, const char* name, const char* directory, void** handle)
    {
        const std::string path = std::string(directory) + '/' + name;
        *handle = new int(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
        return 0;
    }
    static int writeFile(DbEnv*, u_int32_t gigabytes, u_int32_t offset, u_int32_t size, u_int8_t* bytes, void* handle)
    {
        const off_t position = (static_cast<off_t>(gigabytes) << 30) + offset;
        return pwrite(*static_cast<int*>(handle), bytes, size, position) == static_cast<ssize_t>(size) ? 0 : EIO;
    }
    static int closeFile(DbEnv*, const char*, void* handle)
    {
        const std::unique_ptr<int> descriptor(static_cast<int*>(handle));
        close(*descriptor);
        if (const auto call = exchange(nullptr))
            call();
        return 0;
    }
    static std::function<void()> exchange(std::function<void()> other)
    {
        const std::lock_guard lock(mutex_);
        return std::exchange(inTheMiddle_, std::move(other));
    }

    static inline std::mutex mutex_;
    static inline std::function<void()> inTheMiddle_; // called by the thread that copies
};

/** An environment, a backup thread of our own for it, and a target directory with the marker of a requester. */
class HotBackup : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(log_->waitFor("Done txn_checkpoint")); // of the environment itself
        log_.reset();
        log_ = std::make_unique<LogCapture>(LogInfo);
        target_ = directory_.makeDirectory("target");
        makeMarker();
    }

    void TearDown() override
    {
        thread_.reset();
        Settings::setBackupDisabled(0);
    }

    void makeMarker() { std::ofstream(target_ + Marker); }

    QString target() const { return QString::fromStdString(target_); }

    BDBHotBackupThread& thread(std::chrono::milliseconds period = 24h)
    {
        thread_ = std::make_unique<BDBHotBackupThread>(env_.get(), period);
        return *thread_;
    }

    void put(int number, std::size_t bytes)
    {
        std::string value(bytes, 'x');
        BDBTxn txn;
        ASSERT_EQ(txn.begin(env_.get(), 0), 0);
        Dbt key(&number, sizeof number);
        Dbt data(value.data(), static_cast<u_int32_t>(value.size()));
        ASSERT_EQ(env_.index("t.db")->put(&txn, &key, &data, 0), 0);
        ASSERT_EQ(txn.commit(DB_TXN_NOSYNC), 0);
    }

    /** Leaves log files behind that a checkpoint no longer needs. */
    void makeUnneededLogs()
    {
        for (int i = 0; !fs::exists(env_.file("log.0000000003")); ++i)
            put(i, 1'000'000);
        ASSERT_EQ(env_->txn_checkpoint(0, 0, 0), 0);
    }

    /** The lines of an order that ended with a failed copy to `target`, after one with error code `rc`. */
    void expectCopyFails(const std::string& target, int rc)
    {
        EXPECT_EQ(thread().schedule(QString::fromStdString(target), BackupFull), 0);
        ASSERT_TRUE(log_->waitFor("Disabling Database Backup"));
        EXPECT_THAT(log_->lines(),
                    ElementsAre("[INFO] Starting BDBHotBackupThread.backup",
                                MatchesRegex("\\[ERROR\\] bdb [0-9]+ Dbenv backup failed rc " + std::to_string(rc)),
                                "[INFO] Disabling Database Backup"));
        EXPECT_TRUE(waitUntil([] { return Settings::backupDisabled() == 1; }));
    }

    /** What a checkpoint does that may remove log files. */
    void removeUnneededLogs()
    {
        ASSERT_EQ(env_->txn_checkpoint(0, 0, DB_FORCE), 0);
        char** removed = nullptr;
        ASSERT_EQ(env_->log_archive(&removed, DB_ARCH_REMOVE), 0);
        std::free(removed);
    }

    std::unique_ptr<LogCapture> log_ = std::make_unique<LogCapture>(LogInfo);
    TempEnv env_;
    TempDir directory_;
    std::string target_;
    std::unique_ptr<BDBHotBackupThread> thread_;
};

} // namespace

TEST_F(HotBackup, FullBackupCopiesDeletesTheMarkerAndGoesOnShipping)
{
    put(1, 100);
    Settings::setBackupDisabled(1);
    EXPECT_EQ(thread().schedule(target(), BackupFull), 0);
    ASSERT_TRUE(log_->waitFor("Done BDBHotBackupThread.log_archive"));
    EXPECT_EQ(log_->lines(),
              (std::vector{"[INFO] Starting BDBHotBackupThread.backup"s, "[INFO] Done BDBHotBackupThread.backup"s,
                           "[INFO] Starting BDBHotBackupThread.log_archive"s,
                           "[INFO] Done BDBHotBackupThread.log_archive"s}));
    EXPECT_FALSE(fs::exists(target_ + Marker));
    EXPECT_TRUE(fs::exists(target_ + "/t.db"));
    EXPECT_TRUE(fs::exists(target_ + "/log.0000000001"));
    EXPECT_FALSE(fs::exists(target_ + "/__log__")) << "nothing to ship";
    EXPECT_EQ(Settings::backupDisabled(), 0) << "checkpoints keep the logs for the shipping";
}

TEST_F(HotBackup, FullBackupMakesTheTargetDirectoryButThenMissesTheMarker)
{
    const std::string fresh = directory_.file("fresh");
    EXPECT_EQ(thread().schedule(QString::fromStdString(fresh), BackupFull), 0);
    ASSERT_TRUE(log_->waitFor("Disabling Database Backup"));
    EXPECT_THAT(log_->lines(),
                ElementsAre("[INFO] Starting BDBHotBackupThread.backup", "[INFO] Done BDBHotBackupThread.backup",
                            MatchesRegex("\\[ERROR\\] bdb [0-9]+ Failed to del temp file from " + fresh),
                            "[INFO] Disabling Database Backup"));
    EXPECT_TRUE(fs::exists(fresh + "/log.0000000001")) << "the copy was made";
    EXPECT_TRUE(waitUntil([] { return Settings::backupDisabled() == 1; }));
}

TEST_F(HotBackup, AFailedCopyDisablesBackup)
{
    const std::string file = directory_.file("file");
    std::ofstream(file) << "in the way";
    EXPECT_EQ(thread().schedule(QString::fromStdString(file), BackupFull), 0);
    ASSERT_TRUE(log_->waitFor("Disabling Database Backup"));
    const std::vector<std::string> lines = log_->lines();
    EXPECT_EQ(lines.front(), "[INFO] Starting BDBHotBackupThread.backup");
    EXPECT_THAT(lines, testing::Contains(MatchesRegex("\\[ERROR\\] bdb [0-9]+ Dbenv backup failed rc [-0-9]+")));
    EXPECT_EQ(lines.back(), "[INFO] Disabling Database Backup");
    EXPECT_TRUE(waitUntil([] { return Settings::backupDisabled() == 1; }));
}

TEST_F(HotBackup, ShipsUnneededLogFiles)
{
    makeUnneededLogs();
    EXPECT_EQ(thread().schedule(target(), BackupShipLogs), 0);
    ASSERT_TRUE(log_->waitFor("Done BDBHotBackupThread.backupLog"));
    EXPECT_EQ(
        log_->lines(),
        (std::vector{"[INFO] Starting BDBHotBackupThread.log_archive"s, "[INFO] Done BDBHotBackupThread.log_archive"s,
                     "[INFO] Starting BDBHotBackupThread.backupLog 2"s, "[INFO] Done BDBHotBackupThread.backupLog"s}));
    for (const char* name : {"log.0000000001", "log.0000000002"}) {
        EXPECT_TRUE(fs::exists(target_ + "/__log__/" + name));
        EXPECT_FALSE(fs::exists(env_.file(name)));
    }
    EXPECT_TRUE(fs::exists(env_.file("log.0000000003")));
    EXPECT_TRUE(fs::exists(target_ + Marker)) << "only a full backup deletes it";
}

TEST_F(HotBackup, ShipsAgainAfterEveryPeriod)
{
    EXPECT_EQ(thread(1ms).schedule(target(), BackupShipLogs), 0);
    EXPECT_TRUE(log_->waitFor("Starting BDBHotBackupThread.log_archive", 3));
    makeUnneededLogs();
    EXPECT_TRUE(log_->waitFor("Done BDBHotBackupThread.backupLog"));
}

TEST_F(HotBackup, ALogDirectoryThatCannotBeMadeCountsAsDone)
{
    makeUnneededLogs();
    const std::string missing = directory_.file("missing");
    EXPECT_EQ(thread().schedule(QString::fromStdString(missing), BackupShipLogs), 0);
    ASSERT_TRUE(log_->waitFor("Done BDBHotBackupThread.backupLog"));
    EXPECT_THAT(log_->lines(), testing::Contains(MatchesRegex("\\[ERROR\\] bdb [0-9]+ Error in creating dir " +
                                                              missing + "/__log__")));
    EXPECT_TRUE(fs::exists(env_.file("log.0000000001")));
    EXPECT_EQ(Settings::backupDisabled(), 0);
}

TEST_F(HotBackup, ALogFileThatCannotBeMovedDisablesBackup)
{
    makeUnneededLogs();
    fs::create_directories(target_ + "/__log__/log.0000000001.del/x"); // neither a file nor removable
    fs::create_directories(target_ + "/__log__/log.0000000001/x");
    EXPECT_EQ(thread().schedule(target(), BackupShipLogs), 0);
    ASSERT_TRUE(log_->waitFor("Disabling Database Backup"));
    EXPECT_THAT(log_->lines(),
                ElementsAre("[INFO] Starting BDBHotBackupThread.log_archive",
                            "[INFO] Done BDBHotBackupThread.log_archive",
                            "[INFO] Starting BDBHotBackupThread.backupLog 2",
                            MatchesRegex("\\[ERROR\\] bdb [0-9]+ Error in moving log file .*/log.0000000001"),
                            MatchesRegex("\\[ERROR\\] bdb [0-9]+ log backup failed for " + target_),
                            "[INFO] Disabling Database Backup"));
    EXPECT_TRUE(fs::exists(env_.file("log.0000000001")));
    EXPECT_TRUE(waitUntil([] { return Settings::backupDisabled() == 1; }));
}

TEST_F(HotBackup, ShippingIsRefusedWhileTheThreadRuns)
{
    EXPECT_EQ(thread().schedule(target(), BackupShipLogs), 0);
    EXPECT_EQ(thread_->schedule("/elsewhere", BackupShipLogs), 1);
    EXPECT_EQ(log_->count("[WARN] thread is already running for target /elsewhere"), 1U);
}

TEST_F(HotBackup, AFullBackupReplacesAShipping)
{
    EXPECT_EQ(thread().schedule("/elsewhere", BackupShipLogs), 0);
    ASSERT_TRUE(log_->waitFor("Done BDBHotBackupThread.log_archive"));
    EXPECT_EQ(thread_->schedule(target(), BackupFull), 0);
    EXPECT_TRUE(waitUntil([&] { return !fs::exists(target_ + Marker); }));
}

TEST_F(HotBackup, AFullBackupIsRefusedWhileOneRuns)
{
    // The copy cannot end while commits are held up, so the second order surely meets it.
    {
        const std::shared_lock committing(env_->commitGate());
        EXPECT_EQ(thread().schedule(target(), BackupFull), 0);
        EXPECT_EQ(thread_->schedule("/elsewhere", BackupFull), 1);
        EXPECT_EQ(log_->count("[WARN] DB Backup is already running for " + target_), 1U);
        EXPECT_EQ(thread_->schedule("/elsewhere", BackupShipLogs), 1);
        EXPECT_EQ(log_->count("[WARN] thread is already running for target /elsewhere"), 1U);
        EXPECT_TRUE(fs::exists(target_ + Marker));
    }
    EXPECT_TRUE(waitUntil([&] { return !fs::exists(target_ + Marker); }));
}

TEST_F(HotBackup, StopEndsShippingAndLetsCheckpointsRemoveLogs)
{
    EXPECT_EQ(thread().schedule(target(), BackupShipLogs), 0);
    ASSERT_TRUE(log_->waitFor("Done BDBHotBackupThread.log_archive"));
    EXPECT_EQ(thread_->schedule(QString(), BackupStop), 0);
    EXPECT_EQ(log_->lines().back(), "[INFO] Disabling Database Backup");
    EXPECT_EQ(Settings::backupDisabled(), 1);
    // The thread ends by itself, so that a new order is accepted.
    EXPECT_TRUE(waitUntil([&] { return thread_->schedule(target(), BackupShipLogs) == 0; }));
    EXPECT_EQ(Settings::backupDisabled(), 0);
}

TEST_F(HotBackup, AStopThatFollowsAtOnceIsNotLost)
{
    thread();
    for (int i = 0; i < 50; ++i) {
        ASSERT_TRUE(waitUntil([&] { return thread_->schedule(target(), BackupShipLogs) == 0; }));
        ASSERT_EQ(thread_->schedule(QString(), BackupStop), 0);
        ASSERT_EQ(Settings::backupDisabled(), 1);
    }
    thread_.reset(); // waits for a thread that would never end
    EXPECT_EQ(Settings::backupDisabled(), 1);
}

TEST_F(HotBackup, WithoutAThreadItIsRefusedAndLogRemovalIsAsItWas)
{
    thread();
    for (const int disabled : {0, 1}) {
        Settings::setBackupDisabled(disabled);
        int refused = 0;
        if (!runWithFailingCalls({__NR_clone, __NR_clone3}, EAGAIN,
                                 [&] { refused = thread_->schedule(target(), BackupFull); }))
            GTEST_SKIP() << "this system has no filters for system calls";
        EXPECT_EQ(refused, 1);
        EXPECT_EQ(Settings::backupDisabled(), disabled);
    }
    EXPECT_EQ(log_->count("[WARN] DB Backup thread could not be started 11"), 2U);
    EXPECT_EQ(thread_->schedule(target(), BackupFull), 0) << "the next one finds nothing in its way";
    EXPECT_TRUE(waitUntil([&] { return !fs::exists(target_ + Marker); }));
}

TEST_F(HotBackup, AStopThatFollowsAFullBackupAtOnceLeavesTheCopyAndShipsNothing)
{
    constexpr std::size_t Backups = 30;
    thread();
    for (std::size_t i = 0; i < Backups; ++i) {
        makeMarker();
        ASSERT_TRUE(waitUntil([&] { return thread_->schedule(target(), BackupFull) == 0; }));
        ASSERT_EQ(thread_->schedule(QString(), BackupStop), 0);
        ASSERT_TRUE(waitUntil([&] { return !fs::exists(target_ + Marker); })) << "copy " << i;
    }
    thread_.reset();
    EXPECT_EQ(log_->count("Done BDBHotBackupThread.backup"), Backups);
    EXPECT_EQ(log_->count("log_archive"), 0U);
}

TEST_F(HotBackup, StopDuringAFullBackupStillCompletesIt)
{
    {
        const std::shared_lock committing(env_->commitGate());
        EXPECT_EQ(thread().schedule(target(), BackupFull), 0);
        ASSERT_TRUE(log_->waitFor("Starting BDBHotBackupThread.backup"));
        EXPECT_EQ(thread_->schedule(QString(), BackupStop), 0);
    }
    EXPECT_TRUE(waitUntil([&] { return !fs::exists(target_ + Marker); }));
    thread_.reset();
    EXPECT_EQ(log_->count("log_archive"), 0U) << "no shipping follows";
    EXPECT_EQ(Settings::backupDisabled(), 1);
}

TEST_F(HotBackup, TheDestructorWaitsForAFullBackup)
{
    put(1, 100);
    EXPECT_EQ(thread().schedule(target(), BackupFull), 0);
    ASSERT_TRUE(log_->waitFor("Starting BDBHotBackupThread.backup"));
    thread_.reset();
    EXPECT_EQ(log_->count("Done BDBHotBackupThread.backup"), 1U);
}

TEST_F(HotBackup, StopWhileIdleDisablesBackup)
{
    EXPECT_EQ(thread().schedule(QString(), BackupStop), 0);
    EXPECT_EQ(log_->lines(), std::vector{"[INFO] Disabling Database Backup"s});
    EXPECT_EQ(Settings::backupDisabled(), 1);
}

TEST_F(HotBackup, AListingThatFailsDisablesBackup)
{
    (void)env_->set_flags(DB_PANIC_ENVIRONMENT, 1);
    EXPECT_EQ(thread().schedule(target(), BackupShipLogs), 0);
    EXPECT_TRUE(log_->waitFor("Disabling Database Backup"));
    thread_.reset();
    (void)env_->set_flags(DB_PANIC_ENVIRONMENT, 0);
    std::vector<std::string> lines = log_->lines();
    std::erase_if(lines, [](const std::string& line) { return line.find(" BDB: ") != std::string::npos; });
    EXPECT_THAT(lines, ElementsAre("[INFO] Starting BDBHotBackupThread.log_archive",
                                   MatchesRegex("\\[ERROR\\] bdb [0-9]+ log_archive listing failed for " + target_ +
                                                " rc -30973"),
                                   "[INFO] Disabling Database Backup"));
    EXPECT_EQ(Settings::backupDisabled(), 1);
}

TEST_F(HotBackup, AFullBackupToTheOwnHomeIsRefusedByTheThread)
{
    put(1, 100);
    const auto logSize = fs::file_size(env_.file("log.0000000001"));
    const std::string link = directory_.file("link");
    fs::create_directory_symlink(env_.path(), link);
    for (const std::string& home : {env_.path(), link, env_.path() + "/."}) {
        SCOPED_TRACE(home);
        log_.reset();
        log_ = std::make_unique<LogCapture>(LogInfo);
        expectCopyFails(home, EBUSY);
        EXPECT_EQ(fs::file_size(env_.file("log.0000000001")), logSize) << "the copy would have cut it to nothing";
        EXPECT_GT(fs::file_size(env_.file("t.db")), 0U);
    }
}

TEST_F(HotBackup, AFullBackupToTheHomeOfAnotherOpenEnvironmentIsRefusedByTheThread)
{
    const int other = open(target_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(flock(other, LOCK_EX | LOCK_NB), 0); // as whoever has an environment open does
    expectCopyFails(target_, EBUSY);
    close(other);
    EXPECT_EQ(std::distance(fs::directory_iterator(target_), fs::directory_iterator()), 1) << "only the marker";
    EXPECT_TRUE(fs::exists(target_ + Marker));
}

TEST_F(HotBackup, AFullBackupWithoutADirectoryIsRefusedByTheThread)
{
    expectCopyFails("", ENOENT);
}

TEST_F(HotBackup, AFullBackupToANameWithAZeroByteIsRefusedByTheThread)
{
    expectCopyFails(target_ + std::string("\0x", 2), ENOENT);
    EXPECT_TRUE(fs::exists(target_ + Marker));
}

TEST_F(HotBackup, AFullBackupOfAnEnvironmentInWhichNothingHappenedYet)
{
    const TempDir home;
    BDBEnv fresh(16, DB_CXX_NO_EXCEPTIONS);
    // Not opened as the server does it, which has a checkpoint written at once.
    ASSERT_EQ(fresh.DbEnv::open(home.path().c_str(),
                                DB_CREATE | DB_RECOVER | DB_INIT_LOCK | DB_INIT_LOG | DB_INIT_MPOOL | DB_INIT_TXN |
                                    DB_PRIVATE | DB_THREAD,
                                0),
              0);
    BDBHotBackupThread thread(&fresh, 24h);
    EXPECT_EQ(thread.schedule(target(), BackupFull), 0);
    EXPECT_TRUE(log_->waitFor("Done BDBHotBackupThread.log_archive"));
    EXPECT_FALSE(fs::exists(target_ + Marker)) << log_->text();
    EXPECT_TRUE(fs::exists(target_ + "/log.0000000001"));
}

TEST_F(HotBackup, AFullBackupReplacesTheLogFilesOfEarlierOnesInTheSameDirectory)
{
    makeUnneededLogs();
    fs::create_directory(target_ + "/__log__");
    for (const char* name : {"log.0000000001", "log.0000000009", "__log__/log.0000000001", "__log__/log.0000000009"})
        std::ofstream(target_ + '/' + name) << "of another time";
    removeUnneededLogs();
    ASSERT_FALSE(fs::exists(env_.file("log.0000000001")));

    EXPECT_EQ(thread().schedule(target(), BackupFull), 0);
    ASSERT_TRUE(waitUntil([&] { return !fs::exists(target_ + Marker); }));
    thread_.reset();
    std::vector<std::string> logs;
    for (const auto& entry : fs::recursive_directory_iterator(target_)) {
        if (entry.path().filename().string().starts_with("log."))
            logs.push_back(fs::relative(entry.path(), target_));
    }
    EXPECT_THAT(logs, ElementsAre("log.0000000003"));
}

TEST_F(HotBackup, AFullBackupFailsWhenTheLogFilesThatItNeedsAreRemovedMeanwhile)
{
    put(1, 100);
    const CopyInterrupted interrupted(env_.get(), [this] {
        makeUnneededLogs();   // the pages that were copied by then are as they were before that
        removeUnneededLogs(); // as checkpoints do once a backup was stopped somewhere
    });
    expectCopyFails(target_, ENOENT);
    EXPECT_TRUE(fs::exists(target_ + Marker)) << "a restore refuses it";
}

TEST_F(HotBackup, AFullBackupDoesNotMindThatLogFilesGoWhichNobodyNeeded)
{
    makeUnneededLogs();
    const CopyInterrupted interrupted(env_.get(), [this] { removeUnneededLogs(); });
    fs::create_directory(target_ + "/__log__");
    std::ofstream(target_ + "/log.0000000002") << "of another time";
    EXPECT_EQ(thread().schedule(target(), BackupFull), 0);
    EXPECT_TRUE(waitUntil([&] { return !fs::exists(target_ + Marker); })) << log_->text();
    EXPECT_FALSE(fs::exists(target_ + "/log.0000000002"));
    EXPECT_TRUE(fs::exists(target_ + "/log.0000000003"));
}

TEST_F(HotBackup, HoldsEverythingThatWasCommittedBeforeTheMarkerWasGone)
{
    std::atomic<bool> stop{false};
    std::atomic<int> committed{-1};
    (void)env_.index("t.db");
    std::thread writer([&] {
        for (int i = 0; !stop; ++i) {
            put(i, 200);
            committed = i;
        }
    });
    ASSERT_TRUE(waitUntil([&] { return committed > 100; }));
    EXPECT_EQ(thread().schedule(target(), BackupFull), 0);
    int last = -1;
    for (int now = committed; fs::exists(target_ + Marker); now = committed)
        last = now; // it was there after this one had been acknowledged
    stop = true;
    writer.join();
    thread_.reset();

    // Recover the copy as after the loss of a disk.
    DbEnv restored(DB_CXX_NO_EXCEPTIONS);
    ASSERT_EQ(restored.open(target_.c_str(),
                            DB_CREATE | DB_RECOVER_FATAL | DB_INIT_LOCK | DB_INIT_LOG | DB_INIT_MPOOL | DB_INIT_TXN |
                                DB_PRIVATE,
                            0),
              0);
    {
        Db db(&restored, DB_CXX_NO_EXCEPTIONS);
        ASSERT_EQ(db.open(nullptr, "t.db", "data", DB_BTREE, DB_RDONLY, 0), 0);
        for (int i = 0; i <= last; ++i) {
            Dbt key(&i, sizeof i);
            Dbt data;
            ASSERT_EQ(db.get(nullptr, &key, &data, 0), 0) << i << " of " << last;
        }
        EXPECT_EQ(db.close(0), 0);
    }
    EXPECT_EQ(restored.close(0), 0);
}
