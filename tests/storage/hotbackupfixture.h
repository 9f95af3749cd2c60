#ifndef QUORVA_TESTS_STORAGE_HOTBACKUPFIXTURE_H
#define QUORVA_TESTS_STORAGE_HOTBACKUPFIXTURE_H

#include "format/backuplist.h"
#include "storage/bdbhotbackup.h"
#include "storage/bdbtxn.h"
#include "storage/settings.h"
#include "support/files.h"
#include "support/logcapture.h"
#include "support/tempenv.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

inline constexpr const char* Marker = "/BackupInProgress.tmp";

/**
 * Writes the files of a copy as Berkeley DB does, and calls a function when the first file is complete: what it does
 * happens in the middle of the copy, however long it takes.
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

/** The contents of the files below a directory, by relative name. */
inline std::map<std::string, std::string> filesUnder(const std::string& directory)
{
    std::map<std::string, std::string> contents;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
        if (entry.is_regular_file())
            contents[std::filesystem::relative(entry.path(), directory)] = readFile(entry.path());
    }
    return contents;
}

inline std::vector<std::string> filesIn(const std::string& directory)
{
    std::vector<std::string> names;
    for (const auto& [name, bytes] : filesUnder(directory))
        names.push_back(name);
    return names;
}

/** What a server does if it is given the wrong directory. */
inline void openAsEnvironment(const std::string& directory)
{
    DbEnv opened(DB_CXX_NO_EXCEPTIONS);
    ASSERT_EQ(
        opened.open(directory.c_str(),
                    DB_CREATE | DB_RECOVER | DB_INIT_LOCK | DB_INIT_LOG | DB_INIT_MPOOL | DB_INIT_TXN | DB_PRIVATE, 0),
        0);
    ASSERT_EQ(opened.txn_checkpoint(0, 0, DB_FORCE), 0);
    ASSERT_EQ(opened.close(0), 0);
}

inline BackupList listOf(const std::string& target)
{
    BackupList list;
    std::string error;
    EXPECT_TRUE(BackupList::read(readFile(target + "/BackupFiles.list"), &list, &error)) << error;
    return list;
}

/** An environment, a backup thread for it, and a target directory with the marker that a requester creates. */
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

    BDBHotBackupThread& thread(std::chrono::milliseconds period = std::chrono::hours(24))
    {
        thread_ = std::make_unique<BDBHotBackupThread>(env_.get(), period);
        return *thread_;
    }

    void put(int number, std::size_t bytes) { env_.put("t.db", number, bytes); }

    /** Leaves log files behind that a checkpoint no longer needs. */
    void makeUnneededLogs()
    {
        for (int i = 0; !std::filesystem::exists(env_.file("log.0000000003")); ++i)
            put(i, 1'000'000);
        ASSERT_EQ(env_->txn_checkpoint(0, 0, 0), 0);
    }

    /** A full backup to `target` fails with `rc` in the log. */
    void expectCopyFails(const std::string& target, int rc)
    {
        EXPECT_EQ(thread().schedule(QString::fromStdString(target), BackupFull), 0);
        ASSERT_TRUE(log_->waitFor("Disabling Database Backup"));
        EXPECT_THAT(log_->lines(),
                    testing::ElementsAre(
                        "[INFO] Starting BDBHotBackupThread.backup",
                        testing::MatchesRegex("\\[ERROR\\] bdb [0-9]+ Dbenv backup failed rc " + std::to_string(rc)),
                        "[INFO] Disabling Database Backup"));
        EXPECT_TRUE(waitUntil([] { return Settings::backupDisabled() == 1; }));
    }

    /** False while the end of a full copy blocks commits. */
    bool commitsAreFree()
    {
        if (!env_->commitGate().try_lock())
            return false;
        env_->commitGate().unlock();
        return true;
    }

    /** A full copy to the target that succeeds, and the end of the thread. */
    void backUp()
    {
        EXPECT_EQ(thread().schedule(target(), BackupFull), 0);
        EXPECT_TRUE(waitUntil([&] { return !std::filesystem::exists(target_ + Marker); })) << log_->text();
        thread_.reset();
    }

    /** One cycle of shipping that succeeds. */
    void ship()
    {
        log_.reset();
        log_ = std::make_unique<LogCapture>(LogInfo);
        EXPECT_EQ(thread().schedule(target(), BackupShipLogs), 0);
        EXPECT_TRUE(log_->waitFor("Done BDBHotBackupThread.backupLog")) << log_->text();
        thread_.reset();
    }

    /** A request that fails with this ERROR line, and with a line for the reason unless the result code is the reason.
     */
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
        EXPECT_THAT(log_->lines(), testing::Contains(testing::MatchesRegex("\\[ERROR\\] bdb [0-9]+ " + line)));
        EXPECT_EQ(
            log_->count("[WARN] DB Backup target " + target + " holds files that are no backup of this environment"),
            withReason ? 1U : 0U);
        thread_.reset();
    }

    /** The same for a request to another environment, which also leaves the target unchanged. */
    void expectRefusedByOther(BDBEnv* other, BDBBackupMode mode, const std::string& line)
    {
        const auto before = filesUnder(target_);
        thread_ = std::make_unique<BDBHotBackupThread>(other, std::chrono::hours(24));
        expectRefusedByThread(target_, mode, line);
        EXPECT_TRUE(filesUnder(target_) == before);
    }

    /** What a checkpoint does when it may remove log files. */
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

#endif
