#include "storage/bdbhotbackup.h"

#include "format/backuplist.h"
#include "format/checksum.h"
#include "storage/bdbtxn.h"
#include "storage/logtail.h"
#include "storage/settings.h"
#include "support/files.h"
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
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <shared_mutex>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

std::mutex syncMutex;
std::string slowDirectory;           // guarded by syncMutex, as is the next
std::function<void()> beforeSyncing; // called by the thread that waits for the disk
std::string syncedPath;

} // namespace

/** Stands in for the system's, which it calls: a disk that takes its time. */
extern "C" int fsync(int descriptor)
{
    std::error_code error;
    const std::string path = fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor), error).string();
    std::function<void()> call;
    {
        const std::lock_guard lock(syncMutex);
        if (!slowDirectory.empty() && path.starts_with(slowDirectory)) {
            syncedPath = path;
            call = beforeSyncing;
        }
    }
    if (call)
        call();
    return static_cast<int>(syscall(SYS_fsync, descriptor));
}

namespace {

/** Calls a function whenever something in a directory is brought to disk. */
class SlowDisk {
public:
    SlowDisk(std::string directory, std::function<void()> call) { set(std::move(directory), std::move(call)); }
    ~SlowDisk() { set({}, nullptr); }
    SlowDisk(const SlowDisk&) = delete;
    SlowDisk& operator=(const SlowDisk&) = delete;

private:
    static void set(std::string directory, std::function<void()> call)
    {
        const std::lock_guard lock(syncMutex);
        slowDirectory = std::move(directory);
        beforeSyncing = std::move(call);
    }
};

/** What was brought to disk last in that directory. */
std::string lastSynced()
{
    const std::lock_guard lock(syncMutex);
    return syncedPath;
}

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

std::string read(const std::string& path)
{
    return readFile(path);
}

/** The files below a directory, by their relative names, with their bytes. */
std::map<std::string, std::string> contentsOf(const std::string& directory)
{
    std::map<std::string, std::string> contents;
    for (const auto& entry : fs::recursive_directory_iterator(directory)) {
        if (entry.is_regular_file())
            contents[fs::relative(entry.path(), directory)] = read(entry.path());
    }
    return contents;
}

std::vector<std::string> filesIn(const std::string& directory)
{
    std::vector<std::string> names;
    for (const auto& [name, bytes] : contentsOf(directory))
        names.push_back(name);
    return names;
}

/** As a server does that is given the wrong directory. */
void openAsEnvironment(const std::string& directory)
{
    DbEnv opened(DB_CXX_NO_EXCEPTIONS);
    ASSERT_EQ(
        opened.open(directory.c_str(),
                    DB_CREATE | DB_RECOVER | DB_INIT_LOCK | DB_INIT_LOG | DB_INIT_MPOOL | DB_INIT_TXN | DB_PRIVATE, 0),
        0);
    ASSERT_EQ(opened.txn_checkpoint(0, 0, DB_FORCE), 0);
    ASSERT_EQ(opened.close(0), 0);
}

BackupList listOf(const std::string& target)
{
    BackupList list;
    std::string error;
    EXPECT_TRUE(readBackupList(read(target + "/BackupFiles.list"), &list, &error)) << error;
    return list;
}

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

    /** False while the end of a full copy holds them up. */
    bool commitsAreFree()
    {
        if (!env_->commitGate().try_lock())
            return false;
        env_->commitGate().unlock();
        return true;
    }

    /** A full copy to the target, which goes well, and the end of the thread. */
    void backUp()
    {
        EXPECT_EQ(thread().schedule(target(), BackupFull), 0);
        EXPECT_TRUE(waitUntil([&] { return !fs::exists(target_ + Marker); })) << log_->text();
        thread_.reset();
    }

    /** One cycle of shipping, which goes well. */
    void ship()
    {
        log_.reset();
        log_ = std::make_unique<LogCapture>(LogInfo);
        EXPECT_EQ(thread().schedule(target(), BackupShipLogs), 0);
        EXPECT_TRUE(log_->waitFor("Done BDBHotBackupThread.backupLog")) << log_->text();
        thread_.reset();
    }

    /** An order that ends with that ERROR line; the reason is in a line of its own where it is not in the number. */
    void expectRefused(const std::string& target, BDBBackupMode mode, const std::string& line, bool withReason = true)
    {
        thread();
        expectRefusedByThread(target, mode, line, withReason);
    }
    void expectRefusedByThread(const std::string& target, BDBBackupMode mode, const std::string& line,
                               bool withReason = true)
    {
        log_.reset();
        log_ = std::make_unique<LogCapture>(LogInfo);
        EXPECT_EQ(thread_->schedule(QString::fromStdString(target), mode), 0);
        EXPECT_TRUE(log_->waitFor("Disabling Database Backup")) << log_->text();
        EXPECT_THAT(log_->lines(), testing::Contains(MatchesRegex("\\[ERROR\\] bdb [0-9]+ " + line)));
        EXPECT_EQ(
            log_->count("[WARN] DB Backup target " + target + " holds files that are no backup of this environment"),
            withReason ? 1U : 0U);
        thread_.reset();
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
    // The thread that writes pages may meet the same failure in its first cycle.
    std::erase_if(lines, [](const std::string& line) {
        return line.find(" BDB: ") != std::string::npos || line.find(" cache flusher failed ") != std::string::npos;
    });
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
    put(1, 100);
    backUp();
    makeUnneededLogs();
    EXPECT_EQ(thread().schedule(target(), BackupShipLogs), 0);
    ASSERT_TRUE(log_->waitFor("Done BDBHotBackupThread.backupLog"));
    thread_.reset();
    ASSERT_TRUE(fs::exists(target_ + "/__log__/log.0000000002"));

    makeMarker();
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000003", "t.db"));
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
    {
        const CopyInterrupted interrupted(env_.get(), [this] { removeUnneededLogs(); });
        backUp();
    }
    EXPECT_FALSE(fs::exists(env_.file("log.0000000001")));
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000003", "t.db"));
}

TEST_F(HotBackup, TheListHasEveryFileWithItsSizeAndChecksum)
{
    put(1, 100);
    (void)env_.index("log.events");
    (void)env_.index("sub/deep/t");
    std::ofstream(env_.file("notes")) << "no database of anybody";
    backUp();
    const BackupList list = listOf(target_);
    std::vector<std::string> names;
    for (const auto& [name, file] : list.files) {
        names.push_back(name);
        const std::string bytes = read(target_ + '/' + name);
        EXPECT_EQ(file.size, bytes.size()) << name;
        EXPECT_EQ(file.checksum, Checksum::of(bytes)) << name;
    }
    EXPECT_THAT(names, ElementsAre("log.0000000001", "log.events", "sub/deep/t", "t.db"));
    names.insert(names.begin(), "BackupFiles.list");
    EXPECT_EQ(filesIn(target_), names);
    EXPECT_EQ(list.home, env_.path());
    EXPECT_EQ(list.firstLog, 1U);
    EXPECT_EQ(list.lastLog, 1U);
    EXPECT_EQ(list.lastLogSize, fs::file_size(target_ + "/log.0000000001"));
}

TEST_F(HotBackup, ADatabaseBelowALinkIsCopiedAndOneOfAnotherEnvironmentIsNot)
{
    const std::string elsewhere = directory_.makeDirectory("elsewhere");
    fs::create_directory_symlink(elsewhere, env_.file("link"));
    fs::create_directory_symlink(env_.path(), env_.file("circle"));
    (void)env_.index("link/t");
    fs::create_directory(env_.file("other"));
    fs::copy_file(elsewhere + "/t", env_.file("other/t"));
    std::ofstream(env_.file("other/log.0000000001"));
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "link/t", "log.0000000001"));
}

TEST_F(HotBackup, ADatabaseIsCopiedWhateverABackupLeftBesideIt)
{
    // An order for a backup to that directory puts the marker there before the server refuses it.
    for (const char* leftover : {"BackupInProgress.tmp", "BackupFiles.list", "BackupFiles.list.tmp"}) {
        const std::string name = std::string("sub-") + leftover;
        (void)env_.index(QByteArray::fromStdString(name + "/t"));
        std::ofstream(env_.file(name + '/' + leftover));
    }
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000001", "sub-BackupFiles.list.tmp/t",
                                              "sub-BackupFiles.list/t", "sub-BackupInProgress.tmp/t"));
}

TEST_F(HotBackup, ADatabaseIsCopiedByTheNameOfItsDirectoryAndNotOfALinkToIt)
{
    fs::create_directory(env_.file("sub"));
    const auto link = [this](const std::string& to, const std::string& name) {
        fs::create_directory_symlink(to, env_.file(name));
    };
    const std::string elsewhere = directory_.makeDirectory("elsewhere");
    fs::create_directory_symlink(env_.file("sub"), elsewhere + "/back");
    link(elsewhere, "link");
    for (const char* name : {"a", "b", "c", "d", "x", "y", "z"}) // one of them is found before the directory
        link("sub", name);
    (void)env_.index("sub/t");
    (void)env_.index("link/t");
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "link/t", "log.0000000001", "sub/t"));
}

TEST_F(HotBackup, DatabasesThatComeIntoBeingDuringTheCopyAreInIt)
{
    put(1, 100);
    {
        const CopyInterrupted interrupted(env_.get(), [this] { (void)env_.index("late/t"); });
        backUp();
    }
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "late/t", "log.0000000001", "t.db"));
    EXPECT_TRUE(listOf(target_).files.contains("late/t"));
}

TEST_F(HotBackup, ATargetThatMayBeAnEnvironmentIsRefusedAndStaysAsItIs)
{
    put(1, 100);
    for (const char* name : {"log.0000000001", "t.db", "x"}) {
        SCOPED_TRACE(name);
        const std::string other = directory_.makeDirectory(std::string("of-") + name);
        fs::copy_file(env_.file(name[0] == 'l' ? name : "t.db"), other + '/' + name);
        std::ofstream(other + Marker).flush();
        const auto before = contentsOf(other);
        expectRefused(other, BackupFull, "Dbenv backup failed rc 39");
        expectRefused(other, BackupShipLogs, "log backup failed for " + other);
        EXPECT_EQ(contentsOf(other), before);
    }
}

TEST_F(HotBackup, ADirectoryInTheTargetThatTheCopyWouldWriteIntoIsRefused)
{
    (void)env_.index("sub/t");
    fs::create_directory(target_ + "/sub");
    expectRefused(target_, BackupFull, "Dbenv backup failed rc 39");
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupInProgress.tmp"));
}

TEST_F(HotBackup, AFinishedCopyThatWasOpenedAsAnEnvironmentIsRefused)
{
    put(1, 100);
    backUp();
    openAsEnvironment(target_);
    makeMarker();
    const auto before = contentsOf(target_);
    expectRefused(target_, BackupFull, "Dbenv backup failed rc 39");
    EXPECT_EQ(contentsOf(target_), before);
}

TEST_F(HotBackup, TheCopyOfAnotherEnvironmentIsRefusedAndStaysAsItIs)
{
    put(1, 100);
    backUp();
    makeMarker();
    const auto before = contentsOf(target_);
    TempEnv other;
    (void)other.index("t.db");
    for (const auto& [mode, line] : {std::pair{BackupFull, "Dbenv backup failed rc 39"s},
                                     std::pair{BackupShipLogs, "log backup failed for " + target_}}) {
        thread_ = std::make_unique<BDBHotBackupThread>(other.get(), 24h);
        expectRefusedByThread(target_, mode, line);
        EXPECT_EQ(contentsOf(target_), before);
    }
}

TEST_F(HotBackup, AListThatIsDamagedIsRefused)
{
    put(1, 100);
    backUp();
    makeMarker();
    fs::resize_file(target_ + "/BackupFiles.list", fs::file_size(target_ + "/BackupFiles.list") - 1);
    const auto before = contentsOf(target_);
    expectRefused(target_, BackupFull, "Dbenv backup failed rc 39");
    expectRefused(target_, BackupShipLogs, "log backup failed for " + target_);
    EXPECT_EQ(contentsOf(target_), before);
}

TEST_F(HotBackup, AnUnfinishedCopyIsReplacedButNothingIsShippedBehindIt)
{
    put(1, 100);
    backUp();
    makeMarker();
    fs::rename(target_ + "/BackupFiles.list", target_ + "/BackupFiles.list.tmp");
    fs::resize_file(target_ + "/log.0000000001", fs::file_size(target_ + "/log.0000000001") - 100);
    expectRefused(target_, BackupShipLogs, "log backup failed for " + target_);
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000001", "t.db"));

    // What a loss of power kept from the disk reads as zeros.
    makeMarker();
    fs::rename(target_ + "/BackupFiles.list", target_ + "/BackupFiles.list.tmp");
    fs::resize_file(target_ + "/log.0000000001", 200);
    fs::resize_file(target_ + "/log.0000000001", 100'000'000);
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000001", "t.db"));
}

TEST_F(HotBackup, AnUnfinishedCopyThatWasOpenedAsAnEnvironmentIsRefused)
{
    put(1, 100);
    backUp();
    makeMarker();
    fs::rename(target_ + "/BackupFiles.list", target_ + "/BackupFiles.list.tmp");
    openAsEnvironment(target_);
    put(2, 10'000); // the environment's own log is the longer one
    const auto before = contentsOf(target_);
    expectRefused(target_, BackupFull, "Dbenv backup failed rc 39");
    EXPECT_EQ(contentsOf(target_), before);
}

TEST_F(HotBackup, AnUnfinishedListThatCannotBeReadLetsNothingBeReplaced)
{
    put(1, 100);
    for (const std::string name : {"log.0000000001", "t.db", "x.db", "__log__/log.0000000001"}) {
        for (const char* list : {"", "quorva-backup-list 1\n"}) {
            SCOPED_TRACE(name + " beside \"" + list + '"');
            const std::string other = directory_.makeDirectory("other");
            fs::create_directories(fs::path(other + '/' + name).parent_path());
            fs::copy_file(env_.file(name.ends_with(".db") ? "t.db" : "log.0000000001"), other + '/' + name);
            std::ofstream(other + "/BackupFiles.list.tmp") << list;
            const auto before = contentsOf(other);
            expectRefused(other, BackupFull, "Dbenv backup failed rc 39");
            EXPECT_EQ(contentsOf(other), before);
            fs::remove_all(other);
        }
    }
    std::ofstream(target_ + "/BackupFiles.list.tmp").flush();
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000001", "t.db"));
}

TEST_F(HotBackup, AFileOfSomebodyElseIsNotTakenForThatOfTheCopy)
{
    put(1, 100);
    backUp();
    makeMarker();
    (void)env_.index("late");
    std::ofstream(target_ + "/late") << "precious";
    for (const char* list : {"BackupFiles.list", "BackupFiles.list.tmp"}) {
        SCOPED_TRACE(list);
        fs::rename(target_ + "/BackupFiles.list", target_ + '/' + list);
        const auto before = contentsOf(target_);
        for (int attempt = 0; attempt < 3; ++attempt) {
            expectRefused(target_, BackupFull, "Dbenv backup failed rc 39");
            EXPECT_EQ(contentsOf(target_), before);
        }
    }
}

TEST_F(HotBackup, AFileThatSomebodyPutsThereDuringTheCopyIsNeverRemoved)
{
    put(1, 100);
    {
        const CopyInterrupted interrupted(env_.get(), [this] {
            (void)env_.index("late");
            std::ofstream(target_ + "/late") << "precious";
        });
        expectCopyFails(target_, EEXIST);
        thread_.reset();
    }
    for (int attempt = 0; attempt < 3; ++attempt)
        expectRefused(target_, BackupFull, "Dbenv backup failed rc 39");
    EXPECT_EQ(read(target_ + "/late"), "precious");
}

TEST_F(HotBackup, WhereverAServerEndsWhileDatabasesComeIntoBeingTheNextCopyIsMade)
{
    put(1, 100);
    std::vector<std::string> states; // of the target, in the order of its history
    {
        const SlowDisk disk(target_, [&] {
            states.push_back(directory_.file("state" + std::to_string(states.size())));
            fs::copy(target_, states.back(), fs::copy_options::recursive);
        });
        const CopyInterrupted interrupted(env_.get(), [this] { (void)env_.index("late/t"); });
        backUp();
    }
    for (const std::string& state : states) {
        SCOPED_TRACE(testing::PrintToString(filesIn(state)));
        target_ = state;
        makeMarker();
        backUp();
        EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "late/t", "log.0000000001", "t.db"));
    }
}

TEST_F(HotBackup, ADirectoryThatTheCopyMadeGoesWithItsLastDatabase)
{
    put(1, 100);
    (void)env_.index("sub/t");
    backUp();
    ASSERT_TRUE(fs::exists(target_ + "/sub/t"));
    fs::rename(env_.file("sub"), directory_.file("away"));
    makeMarker();
    backUp();
    EXPECT_FALSE(fs::exists(target_ + "/sub"));
    fs::rename(directory_.file("away"), env_.file("sub"));
    makeMarker();
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000001", "sub/t", "t.db"));
}

TEST_F(HotBackup, TheSameEnvironmentIsKnownByItsDatabasesWhenTheLogFilesAreGone)
{
    put(1, 100);
    backUp();
    makeUnneededLogs();
    removeUnneededLogs();
    expectRefused(target_, BackupShipLogs, "log backup failed for " + target_); // a restore could not use them
    makeMarker();
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000003", "t.db"));
}

TEST_F(HotBackup, TheUnfinishedCopyOfAnotherEnvironmentIsRefusedAndStaysAsItIs)
{
    put(1, 100);
    fs::create_directory(target_ + "/log.0000000001"); // in the way of the log
    expectCopyFails(target_, EISDIR);
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list.tmp", "BackupInProgress.tmp", "t.db"));
    const auto before = contentsOf(target_);
    TempEnv other;
    (void)other.index("t.db");
    thread_ = std::make_unique<BDBHotBackupThread>(other.get(), 24h);
    expectRefusedByThread(target_, BackupFull, "Dbenv backup failed rc 39");
    EXPECT_TRUE(contentsOf(target_) == before);
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000001", "t.db"));
}

TEST_F(HotBackup, AnUnfinishedCopyIsKnownByItsDatabasesWhenTheLogFilesAreGone)
{
    put(1, 100);
    fs::create_directory(target_ + "/log.0000000001");
    expectCopyFails(target_, EISDIR);
    makeUnneededLogs();
    removeUnneededLogs();
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000003", "t.db"));
}

TEST_F(HotBackup, ABackupOfTheSameEnvironmentInALaterStateIsRefusedAndStaysAsItIs)
{
    put(1, 100);
    backUp();
    const std::string home = directory_.makeDirectory("clone");
    for (const char* name : {"/t.db", "/log.0000000001"})
        fs::copy_file(target_ + name, home + name);
    makeUnneededLogs();
    ship(); // files 1 and 2
    makeMarker();
    const auto before = contentsOf(target_);

    BDBEnv clone(16, DB_CXX_NO_EXCEPTIONS);
    ASSERT_EQ(clone.open(QByteArray::fromStdString(home)), 0);
    const auto expectRefusedForClone = [&] {
        for (const auto& [mode, line] : {std::pair{BackupFull, "Dbenv backup failed rc 39"s},
                                         std::pair{BackupShipLogs, "log backup failed for " + target_}}) {
            thread_ = std::make_unique<BDBHotBackupThread>(&clone, 24h);
            expectRefusedByThread(target_, mode, line);
            EXPECT_TRUE(contentsOf(target_) == before);
        }
    };
    {
        SCOPED_TRACE("in the state of the copy");
        expectRefusedForClone();
    }
    BDBIndex index(&clone, DB_CXX_NO_EXCEPTIONS);
    ASSERT_EQ(clone.openDatabase(&index, "t.db", "data", DB_AUTO_COMMIT | DB_THREAD), 0);
    std::string value(700'001, 'y');
    Dbt data(value.data(), static_cast<u_int32_t>(value.size()));
    for (int i = 0; !fs::exists(home + "/log.0000000003"); ++i) {
        Dbt key(&i, sizeof i);
        ASSERT_EQ(index.put(nullptr, &key, &data, 0), 0);
    }
    {
        SCOPED_TRACE("further on, by another way");
        expectRefusedForClone();
    }
    ASSERT_EQ(clone.txn_checkpoint(0, 0, DB_FORCE), 0);
    char** removed = nullptr;
    ASSERT_EQ(clone.log_archive(&removed, DB_ARCH_REMOVE), 0);
    std::free(removed);
    ASSERT_FALSE(fs::exists(home + "/log.0000000002"));
    {
        SCOPED_TRACE("without the log files that were shipped");
        expectRefusedForClone();
    }
    ASSERT_EQ(index.close(0), 0);
}

TEST_F(HotBackup, ShippingGoesOnBehindAMoveThatWasCutOff)
{
    put(1, 100);
    backUp();
    makeUnneededLogs();
    fs::create_directory(target_ + "/__log__");
    const std::string begun = target_ + "/__log__/log.0000000001";
    fs::copy_file(env_.file("log.0000000001"), begun);
    fs::resize_file(begun, 100'000);
    ship();
    EXPECT_GT(fs::file_size(begun), 1'000'000U);
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "__log__/log.0000000001", "__log__/log.0000000002",
                                              "log.0000000001", "t.db"));
}

TEST_F(HotBackup, ShippingGoesOnBehindWhatWasShippedBefore)
{
    put(1, 100);
    backUp();
    const BackupList list = listOf(target_);
    makeUnneededLogs();
    ship();
    // Another file is full; the copy itself stays as it is listed.
    for (int i = 0; !fs::exists(env_.file("log.0000000004")); ++i)
        put(i, 1'000'000);
    ASSERT_EQ(env_->txn_checkpoint(0, 0, 0), 0);
    ship();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "__log__/log.0000000001", "__log__/log.0000000002",
                                              "__log__/log.0000000003", "log.0000000001", "t.db"));
    EXPECT_EQ(listOf(target_), list);
    EXPECT_EQ(list.files.at("log.0000000001").checksum, Checksum::of(read(target_ + "/log.0000000001")));

    // What was shipped last is exchanged for the log file of somebody else.
    fs::remove(target_ + "/__log__/log.0000000003");
    fs::copy_file(target_ + "/__log__/log.0000000002", target_ + "/__log__/log.0000000003");
    expectRefused(target_, BackupShipLogs, "log backup failed for " + target_);
}

TEST_F(HotBackup, ShippingThatWouldLeaveAGapIsRefused)
{
    makeUnneededLogs();
    ship(); // files 1 and 2, without a copy
    removeUnneededLogs();
    for (int i = 0; !fs::exists(env_.file("log.0000000004")); ++i)
        put(i, 1'000'000);
    removeUnneededLogs(); // and 3 was not shipped
    expectRefused(target_, BackupShipLogs, "log backup failed for " + target_);
    EXPECT_THAT(filesIn(target_),
                ElementsAre("BackupInProgress.tmp", "__log__/log.0000000001", "__log__/log.0000000002"));
}

TEST_F(HotBackup, ATargetInTheEnvironmentsOwnDirectoryIsRefused)
{
    put(1, 100);
    const std::string link = directory_.file("link");
    fs::create_directory_symlink(env_.path(), link);
    const std::string below = env_.file("backup");
    for (const std::string& target : {below, below + "/deeper", link + "/backup",
                                      env_.path() + "/../" + fs::path(env_.path()).filename().string() + "/backup"}) {
        expectRefused(target, BackupFull, "Dbenv backup failed rc 16", false);
        expectRefused(target, BackupShipLogs, "log backup failed for " + target, false);
        EXPECT_EQ(log_->count("[WARN] DB Backup target " + target + " cannot be used rc 16"), 1U);
    }
    EXPECT_FALSE(fs::exists(below));
}

TEST_F(HotBackup, CommitsGoOnWhileASlowTargetIsWaitedFor)
{
    put(1, 100);
    // Whenever the target's disk is waited for while nothing commits, it takes until something did.
    std::atomic<int> tries{0};
    const SlowDisk disk(target_, [&] {
        if (tries < 2 && !commitsAreFree()) {
            put(++tries + 1, 100);
        }
    });
    EXPECT_EQ(thread().schedule(target(), BackupFull), 0);
    ASSERT_TRUE(log_->waitFor("Done BDBHotBackupThread.log_archive")) << log_->text();
    thread_.reset();
    EXPECT_EQ(tries, 2);
    EXPECT_FALSE(fs::exists(target_ + Marker));
    EXPECT_EQ(log_->count("Done BDBHotBackupThread.backup"), 1U);
    const BackupList list = listOf(target_);
    LogPosition end;
    ASSERT_EQ(flushedLogPosition(env_.get(), &end), 0);
    EXPECT_EQ(list.lastLogSize, end.offset) << "with all that was committed meanwhile";
    EXPECT_EQ(list.files.at("log.0000000001").checksum, Checksum::of(read(target_ + "/log.0000000001")));
}

TEST_F(HotBackup, ATargetThatIsSlowForGoodFailsAndDoesNotHoldUpCommits)
{
    put(1, 100);
    std::atomic<int> committed{1};
    const SlowDisk disk(target_, [&] {
        if (!commitsAreFree())
            put(++committed, 100);
    });
    expectCopyFails(target_, ETIMEDOUT);
    EXPECT_EQ(committed, 6) << "one in each of five tries";
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list.tmp", "BackupInProgress.tmp", "t.db"));
}

TEST_F(HotBackup, AfterACopyThatFailedOnASlowTargetTheNextOneIsMade)
{
    put(1, 100);
    {
        int committed = 1;
        const SlowDisk disk(target_, [&] {
            if (!commitsAreFree())
                put(++committed, 100);
        });
        expectCopyFails(target_, ETIMEDOUT);
        thread_.reset();
    }
    makeUnneededLogs();
    removeUnneededLogs(); // as checkpoints do after a failed backup
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000003", "t.db"));
    EXPECT_EQ(listOf(target_).lastLogSize, fs::file_size(target_ + "/log.0000000003"));
}

TEST_F(HotBackup, WhereverAServerEndsOnASlowTargetTheNextCopyIsMade)
{
    put(1, 100);
    std::vector<std::string> states; // of the target, in the order of its history
    {
        int committed = 1;
        const SlowDisk disk(target_, [&] {
            states.push_back(directory_.file("state" + std::to_string(states.size())));
            fs::copy(target_, states.back(), fs::copy_options::recursive);
            if (committed < 3 && !commitsAreFree())
                put(++committed, 100);
        });
        backUp();
        EXPECT_EQ(committed, 3) << "two tries were lost";
    }
    for (const std::string& state : states) {
        SCOPED_TRACE(testing::PrintToString(filesIn(state)));
        target_ = state;
        makeMarker();
        backUp();
        EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000001", "t.db"));
    }
}

TEST_F(HotBackup, EverythingIsOnDiskBeforeTheMarkerGoes)
{
    put(1, 100);
    (void)env_.index("sub/t");
    std::set<std::string> synced;
    bool markerThere = true;
    {
        const SlowDisk disk(target_, [&] {
            markerThere = fs::exists(target_ + Marker);
            if (markerThere)
                synced.insert(lastSynced());
        });
        backUp();
    }
    const std::string t = target_;
    EXPECT_THAT(synced, testing::IsSupersetOf({t, t + "/sub", t + "/t.db", t + "/sub/t", t + "/log.0000000001",
                                               t + "/BackupFiles.list.new"}));
    EXPECT_FALSE(markerThere) << "the last is the directory without the marker";
    EXPECT_EQ(lastSynced(), t);
}

TEST_F(HotBackup, ATargetThatAnotherBackupWritesToIsRefused)
{
    TempEnv other;
    (void)other.index("t.db");
    put(1, 100);
    {
        const CopyInterrupted interrupted(env_.get(), [&] {
            BDBHotBackupThread second(other.get(), 24h);
            const LogCapture log(LogInfo);
            EXPECT_EQ(second.schedule(target(), BackupFull), 0);
            EXPECT_TRUE(log.waitFor("Dbenv backup failed rc 16"));
        });
        EXPECT_EQ(thread().schedule(target(), BackupFull), 0);
        EXPECT_TRUE(waitUntil([&] { return !fs::exists(target_ + Marker); }));
        thread_.reset();
    }
    EXPECT_EQ(listOf(target_).home, env_.path());
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
