#include "storage/bdbenv.h"

#include "base/directoryentries.h"
#include "base/filesync.h"
#include "format/logfiles.h"
#include "format/tablename.h"
#include "log/log.h"
#include "storage/bdbcacheflushthread.h"
#include "storage/bdbcheckpointthread.h"
#include "storage/bdbhotbackup.h"
#include "storage/bdbindex.h"
#include "storage/bdblockdetectthread.h"
#include "storage/bdbstatprintthread.h"
#include "storage/databasefiles.h"
#include "storage/descriptorreserve.h"
#include "storage/environmentfiles.h"
#include "storage/environmentpath.h"
#include "storage/madedirectories.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <system_error>

#include <sys/stat.h>

namespace {

constexpr const char* LogOrigin = "bdb";

constexpr u_int32_t OpenFlags = DB_CREATE | DB_RECOVER | DB_THREAD | DB_INIT_LOCK | DB_INIT_LOG | DB_INIT_MPOOL |
                                DB_INIT_TXN | DB_LOCKDOWN | DB_PRIVATE;

// With the library's 256 KiB the 738th open database panics the environment, and 64 threads writing to one fully opened
// table stall for good. 512 KiB would just do; 16 MiB is a good compromise between hot and cold data, and an idle
// environment pays 1.4 MB for it.
constexpr u_int32_t CacheBytes = 16 * 1024 * 1024;

constexpr u_int32_t PageBytes = 2048; // on disk: fixed when a database file is created

constexpr std::time_t SecondsBetweenRecoveryReports = 60;

std::atomic<std::time_t> lastRecoveryReport{0};

void writeMessage(const DbEnv*, const char* message)
{
    Log::writeRaw(message); // statistics: whole lines of their own, without a prefix
}

void logError(const DbEnv*, const char*, const char* message)
{
    LOG_ERROR(LogOrigin, __LINE__) << "BDB: " << message;
}

void reportRecovery(DbEnv* env, int opcode, int percent)
{
    if (opcode != DB_RECOVER)
        return;
    const std::time_t now = std::time(nullptr);
    std::time_t last = lastRecoveryReport.load();
    if (now - last <= SecondsBetweenRecoveryReports || !lastRecoveryReport.compare_exchange_strong(last, now))
        return;
    // Kept: the word "recoverd" and the doubled percent sign are what operators search for.
    LOG_INFO << "Env " << static_cast<const BDBEnv*>(env)->spelledHome() << " recoverd " << percent << "%%";
}

/**
 * Brings the log to disk as far as a server that was killed has written it. Recovery takes all of the log that it finds
 * for durable, and lets pages go to disk on the strength of that. Should the end of the log then be lost with the
 * power, the pages would be ahead of it, and what is written later would not be redone. Only an environment whose log
 * is not written synchronously (see DB_CONFIG) can have such an end.
 */
int syncLog(const std::filesystem::path& directory)
{
    return Base::forEachEntry(directory, [](const std::filesystem::directory_entry& entry) {
        std::error_code vanished;
        const bool isLog = LogFiles::numberOf(entry.path().filename().string()) && entry.is_regular_file(vanished);
        return isLog ? Base::syncToDisk(entry.path()) : 0;
    });
}

/**
 * Whether Berkeley DB may be let near a database file: it waits for the other end of a FIFO, and removes links to what
 * it cannot open. `isThere` is set when there is such a file.
 */
int checkDatabaseFile(const QByteArray& path, bool* isThere)
{
    struct stat status {};
    if (::stat(path.constData(), &status) != 0)
        return errno == ENOENT ? 0 : errno;
    if (S_ISDIR(status.st_mode))
        return EISDIR;
    if (!S_ISREG(status.st_mode))
        return EINVAL;
    *isThere = true;
    return 0;
}

} // namespace

BDBEnv::BDBEnv(int tableCapacity, u_int32_t dbEnvFlags)
    : DbEnv(dbEnvFlags), BDBObjTable(tableCapacity), tableCapacity_(tableCapacity)
{
    set_msgcall(writeMessage);
    set_errcall(logError);
    (void)set_feedback(reportRecovery); // cannot fail on a new handle
}

BDBEnv::~BDBEnv()
{
    stopThreads();
    // Berkeley DB wants every database closed before its environment, and the base class would come too late for that.
    closeObjects();
    (void)DbEnv::close(0); // nothing can be done about a failure; Berkeley DB reports it through the error callback
}

int BDBEnv::open(const QByteArray& home)
{
    if (const int rc = openConfigured(home))
        return rc;
    return startThreads();
}

int BDBEnv::startThreads()
{
    lockDetectThread_ = std::make_unique<BDBLockDetectThread>(this);
    checkpointThread_ = std::make_unique<BDBCheckpointThread>(this);
    statPrintThread_ = std::make_unique<BDBStatPrintThread>(this);
    cacheFlushThread_ = std::make_unique<BDBCacheFlushThread>(this);
    hotBackupThread_ = std::make_unique<BDBHotBackupThread>(this);
    const MaintenanceThread* threads[] = {lockDetectThread_.get(), checkpointThread_.get(), statPrintThread_.get(),
                                          cacheFlushThread_.get()};
    for (const MaintenanceThread* thread : threads) {
        if (thread->state() == MaintenanceThread::Stopped)
            return EAGAIN; // no thread to be had: an environment that nobody looks after is not opened
    }
    return 0;
}

void BDBEnv::stopThreads()
{
    if (!hotBackupThread_)
        return; // open() did not come so far, or they have ended
    // All are told before the first is waited for.
    checkpointThread_->stop();
    lockDetectThread_->stop();
    statPrintThread_->stop();
    cacheFlushThread_->stop();
    hotBackupThread_->requestStop();

    checkpointThread_->waitStopped();
    lockDetectThread_->waitStopped();
    statPrintThread_->waitStopped();
    cacheFlushThread_->waitStopped();
    hotBackupThread_.reset(); // its destructor waits
}

int BDBEnv::openConfigured(const QByteArray& home)
{
    if (const int rc = lockDirectory(home))
        return rc;
    if (const int rc = readEnvironmentConfig(canonicalHome_.toStdString(), &config_)) {
        if (!config_.complaint.empty())
            errx("%s", config_.complaint.c_str());
        return rc;
    }
    if (const int rc = lockConfigured())
        return rc;
    int databases = 0;
    if (const int rc = checkDirectory(&databases))
        return rc;
    const DescriptorReserve reserve(databases);
    if (!reserve.available())
        return EMFILE;
    if (const int rc = configure())
        return rc;
    if (const int rc = syncLog(config_.logDirectory))
        return rc;
    return DbEnv::open(canonicalHome_.constData(), OpenFlags, 0);
}

int BDBEnv::configure()
{
    if (const int rc = set_intermediate_dir_mode("rwx------"))
        return rc;
    if (const int rc = set_alloc(std::malloc, std::realloc, std::free)) // lists that come back are freed with free()
        return rc;
    if (const int rc = set_flags(DB_AUTO_COMMIT, 1))
        return rc;
    if (const int rc = log_set_config(DB_LOG_DSYNC, 1))
        return rc;
    if (const int rc = set_cachesize(0, CacheBytes, 1))
        return rc;
    // A deadlock is broken at once when a lock must wait, with the policy of the periodic detection: with that alone
    // two clients that write batches would stand still for seconds.
    return set_lk_detect(DB_LOCK_YOUNGEST);
}

int BDBEnv::lockDirectory(const QByteArray& home)
{
    // An empty name would mean the working directory to Berkeley DB, and a zero byte would cut the name short: neither
    // is a directory that anybody named.
    if (home.isEmpty() || home.contains('\0'))
        return ENOENT;
    spelledHome_ = home;
    if (const int rc = directory_.lock(home.constData()))
        return rc;
    if (const int rc = canonicalPath(home, &canonicalHome_))
        return rc;
    return directory_.isAt(canonicalHome_.constData()) ? 0 : ESTALE; // a link was changed in this very moment
}

/**
 * Holds the directories that DB_CONFIG names as the home is held: two environments with one log would write over each
 * other's records, and with one data directory each would have changes in its log of which the other knows nothing.
 */
int BDBEnv::lockConfigured()
{
    namespace fs = std::filesystem;
    const auto hold = [this](const fs::path& directory, bool* isNew) {
        struct stat status {};
        if (::stat(directory.c_str(), &status) != 0)
            return errno;
        const auto isHeld = [&](const Base::DirectoryLock& lock) { return lock.is(status); };
        *isNew = !isHeld(directory_) && std::none_of(configured_.cbegin(), configured_.cend(), isHeld);
        if (!*isNew)
            return 0;
        const int rc = configured_.emplace_back().lock(directory);
        return rc == EWOULDBLOCK ? EBUSY : rc;
    };
    bool isNew = false;
    bool isForeign = false;
    if (const int rc = hold(config_.logDirectory, &isNew))
        return rc;
    // It is the home of another environment, which is closed, when there is more than log files in it.
    if (isNew) {
        if (const int rc = EnvironmentFiles::findDatabaseIn(config_.logDirectory, &isForeign))
            return rc;
    }
    for (const fs::path& directory : config_.dataDirectories) {
        if (const int rc = hold(directory, &isNew))
            return rc;
        bool hasLog = false;
        if (isNew) {
            if (const int rc = EnvironmentFiles::findLog(directory, &hasLog))
                return rc;
        }
        isForeign = isForeign || hasLog;
        QByteArray canonical;
        if (const int rc = canonicalPath(QByteArray::fromStdString(directory.string()), &canonical))
            return rc;
        databaseDirectories_.push_back(canonical);
    }
    return isForeign ? EBUSY : 0;
}

/** Whether the directory can be an environment at all; `databases` are the files that recovery may have to open. */
int BDBEnv::checkDirectory(int* databases)
{
    const std::filesystem::path home = canonicalHome_.toStdString();
    const std::filesystem::path& logs = config_.logDirectory;
    if (const int rc = EnvironmentFiles::checkWritable(home))
        return rc;
    if (logs != home) {
        if (const int rc = EnvironmentFiles::checkWritable(logs))
            return rc;
    }
    if (EnvironmentFiles::isUnfinishedCopy(home))
        return EBUSY; // it has a part of the tables, and would look like all of them
    bool hasLog = false;
    if (const int rc = EnvironmentFiles::findLogIn(logs, &hasLog))
        return rc;
    hasContent_ = hasLog;
    std::vector<std::filesystem::path> directories{home};
    for (const QByteArray& directory : databaseDirectories_) {
        if (directory != canonicalHome_)
            directories.emplace_back(directory.toStdString());
    }
    // The log that recovery reads begins at a checkpoint after the previous opening, so it names no more files than can
    // be open at a time.
    *databases = 0;
    for (const std::filesystem::path& directory : directories) {
        int count = 0;
        bool logged = false;
        if (const int rc = hasLog ? EnvironmentFiles::countDatabases(directory, tableCapacity_ - 1 - *databases, &count)
                                  : EnvironmentFiles::findLoggedDatabase(directory, &logged))
            return rc;
        if (logged)
            return EBUSY; // a log of its own would begin in their past, and recovery by theirs would undo it
        *databases += count;
    }
    return 0;
}

int BDBEnv::openDatabase(BDBIndex* index, const QByteArray& file, const char* subDb, u_int32_t flags)
{
    if (TableNames::fileRefusal({file.cbegin(), file.cend()}, subDb) != nullptr)
        return EINVAL; // Berkeley DB would open it, wherever it leads and whatever it is
    if (!directory_.isAt(canonicalHome_.constData()))
        return ESTALE; // moved away, and what is there may be an environment as well
    bool isSecond = false;
    if (const int rc = findSecondName(this, file.toStdString(), &isSecond))
        return rc;
    if (isSecond)
        return ELOOP;
    int needed = 0;
    bool isThere = false;
    for (const QByteArray& directory : databaseDirectories_) {
        if (const int rc = checkDatabaseFile(directory + '/' + file, &isThere))
            return rc;
        int directories = 0;
        if (const int rc = claims_.count(directory, file, &directories))
            return rc;
        needed += directories;
    }
    const DescriptorReserve reserve(needed);
    if (!reserve.available())
        return EMFILE;
    // Missing directories are made and claimed before there is a file in them, which could not be taken back.
    MadeDirectories made;
    if (!isThere && (flags & DB_CREATE) != 0) {
        if (const int rc = made.make(QByteArray::fromStdString(config_.createDirectory.string()), file))
            return rc;
    }
    DirectoryClaims::Attempt claims(&claims_);
    for (const QByteArray& directory : databaseDirectories_) {
        if (const int rc = claims_.claim(directory, file))
            return rc;
    }
    if (const int rc = index->set_pagesize(PageBytes))
        return rc;
    if (const int rc = index->open(file.constData(), subDb, DB_BTREE, flags))
        return rc;
    hasContent_ = true;
    claims.keep();
    made.keep();
    return 0;
}

BDBBackupStatus BDBEnv::backupStatus()
{
    return hotBackupThread_ ? hotBackupThread_->status() : BDBBackupStatus();
}

int BDBEnv::backup(const QString& target, int mode)
{
    return hotBackupThread_ ? hotBackupThread_->schedule(target, mode) : 3;
}
