#include "storage/bdbenv.h"

#include "base/descriptor.h"
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
#include "storage/databaseopening.h"
#include "storage/descriptorreserve.h"
#include "storage/logflusher.h"
#include "storage/logpreparation.h"

#include <QMutexLocker>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

#include <fcntl.h>

namespace {

constexpr u_int32_t OpenFlags = DB_CREATE | DB_RECOVER | DB_THREAD | DB_INIT_LOCK | DB_INIT_LOG | DB_INIT_MPOOL |
                                DB_INIT_TXN | DB_LOCKDOWN | DB_PRIVATE;

// With the library's 256 KiB the 738th open database panics the environment, and 64 threads writing to one fully opened
// table stall forever. 512 KiB would be just enough; 16 MiB is a good compromise between hot and cold data, and costs
// an idle environment 1.4 MB.
constexpr u_int32_t CacheBytes = 16 * 1024 * 1024;

// With the library's default of 32 KiB, every eighth transaction would have to write the log before its commit.
constexpr u_int32_t LogBufferBytes = 1024 * 1024;

constexpr u_int32_t PageBytes = 2048; // on disk: fixed when a database file is created

constexpr std::time_t SecondsBetweenRecoveryReports = 60;

std::atomic<std::time_t> lastRecoveryReport{0};

void writeMessage(const DbEnv*, const char* message)
{
    Log::writeRaw(message); // statistics: whole lines of their own, without a prefix
}

void logError(const DbEnv*, const char*, const char* message)
{
    LOG_ERROR(LogOrigin::Engine, __LINE__) << "BDB: " << message;
}

void reportRecovery(DbEnv* env, int opcode, int percent)
{
    if (opcode != DB_RECOVER)
        return;
    const std::time_t now = std::time(nullptr);
    std::time_t last = lastRecoveryReport.load();
    if (now - last <= SecondsBetweenRecoveryReports || !lastRecoveryReport.compare_exchange_strong(last, now))
        return;
    // Kept: operators search for the word "recoverd" and the doubled percent sign.
    LOG_INFO << "Env " << static_cast<const BDBEnv*>(env)->spelledHome() << " recoverd " << percent << "%%";
}

/**
 * Syncs to disk the log that a killed server has written. Recovery treats all of the log that it finds as durable, and
 * writes pages on that assumption. If a power loss then took the end of the log, the pages would be ahead of it, and
 * later writes would not be redone. Only an environment whose log is not written synchronously (see DB_CONFIG) can have
 * such a tail.
 */
int syncLog(const std::filesystem::path& directory)
{
    return Base::forEachEntry(directory, [](const std::filesystem::directory_entry& entry) {
        std::error_code vanished;
        const bool isLog = LogFiles::numberOf(entry.path().filename().string()) && entry.is_regular_file(vanished);
        if (!isLog)
            return 0;
        const Base::Descriptor file(::open(entry.path().c_str(), O_RDONLY | O_CLOEXEC));
        if (!file.isOpen())
            return errno;
        const int rc = Base::syncToDisk(file.number());
        if (rc != 0)
            SyncFailures::note(file.number(), rc);
        return rc;
    });
}

} // namespace

BDBEnv::BDBEnv(int tableCapacity, u_int32_t dbEnvFlags)
    : DbEnv(dbEnvFlags), BDBObjTable(tableCapacity), tableCapacity_(tableCapacity)
{
    if (get_DB_ENV() == nullptr)
        return; // Berkeley DB ran out of memory, see open()
    set_msgcall(writeMessage);
    set_errcall(logError);
    (void)set_feedback(reportRecovery); // cannot fail on a new handle
}

BDBEnv::~BDBEnv()
{
    stopThreads();
    // Berkeley DB requires every database to be closed before its environment; the base class would do so too late.
    closeObjects();
    if (get_DB_ENV() != nullptr)
        (void)DbEnv::close(0); // a failure cannot be handled; Berkeley DB reports it through the error callback
    if (directories_.preparesLogFiles())
        LogPreparation::removeUnused(directories_.logs());
}

int BDBEnv::open(const QByteArray& home)
{
    if (get_DB_ENV() == nullptr)
        return ENOMEM;
    if (const int rc = openConfigured(home))
        return rc;
    return startThreads();
}

int BDBEnv::openConfigured(const QByteArray& home)
{
    spelledHome_ = home;
    std::string complaint;
    if (const int rc = directories_.hold(home, &complaint)) {
        if (!complaint.empty())
            errx("%s", complaint.c_str());
        return rc;
    }
    bool hasLog = false;
    int databases = 0;
    // The log that recovery reads begins at a checkpoint after the previous open, so it names no more files than can be
    // open at a time.
    if (const int rc = directories_.check(tableCapacity_ - 1, &hasLog, &databases))
        return rc;
    hasContent_ = hasLog;
    if (const int rc = logHold_.open(directories_.home().toStdString(), directories_.removesUnneededLogs()))
        return rc;
    const DescriptorReserve reserve(databases);
    if (!reserve.available())
        return EMFILE;
    if (const int rc = configure())
        return rc;
    if (directories_.preparesLogFiles())
        LogPreparation::removeUnused(directories_.logs()); // of a killed server
    syncFailures_.watch(directories_.home().toStdString(), directories_.others());
    if (const int rc = syncFailures_.rewriteAfterEarlier(directories_.logs()))
        return rc;
    if (const int rc = syncLog(directories_.logs()))
        return rc;
    if (const int rc = DbEnv::open(directories_.home().constData(), OpenFlags, 0))
        return rc;
    return syncFailures_.any() ? EIO : 0; // one that recovery ignored: the next open repeats it
}

int BDBEnv::configure()
{
    if (const int rc = set_intermediate_dir_mode("rwx------"))
        return rc;
    if (const int rc = set_alloc(std::malloc, std::realloc, std::free)) // returned lists are freed with free()
        return rc;
    if (const int rc = set_flags(DB_AUTO_COMMIT, 1))
        return rc;
    if (const int rc = log_set_config(DB_LOG_DSYNC, 1))
        return rc;
    if (const int rc = set_lg_bsize(LogBufferBytes))
        return rc;
    if (const int rc = set_cachesize(0, CacheBytes, 1))
        return rc;
    // Runs the detector whenever a lock must wait, with the policy of the periodic detection: with that alone, two
    // clients writing batches would stall for seconds.
    return set_lk_detect(DB_LOCK_YOUNGEST);
}

int BDBEnv::openDatabase(BDBIndex* index, const QByteArray& file, const char* subDb, u_int32_t flags)
{
    if (index->get_DB() == nullptr)
        return ENOMEM; // Berkeley DB could not allocate the handle
    if ((flags & DB_CREATE) != 0 && hasFailedSync())
        return EIO;
    if (TableNames::fileRefusal({file.cbegin(), file.cend()}, subDb) != nullptr)
        return EINVAL; // Berkeley DB would open it, whatever it is and wherever it leads
    DatabaseOpening opening(directories_, &claims_);
    if (const int rc = opening.prepare(this, file, (flags & DB_CREATE) != 0))
        return rc;
    if (const int rc = index->set_pagesize(PageBytes))
        return rc;
    if (const int rc = index->open(file.constData(), subDb, DB_BTREE, flags))
        return rc;
    FileId id;
    std::copy_n(index->get_DB()->fileid, id.size(), id.begin());
    index->shareState(&databases_[id]);
    if (std::string_view(subDb) == TableNames::MetaSubDatabase)
        index->countChanges(&descriptionChanges_);
    hasContent_ = true;
    opening.keep();
    return 0;
}

bool BDBEnv::lacksDatabase(const QByteArray& file, const char* subDb) const
{
    return !file.contains('/') && TableNames::fileRefusal({file.cbegin(), file.cend()}, subDb) == nullptr &&
           directories_.lack(file);
}

bool BDBEnv::isOpen(const DatabaseState& state) const
{
    const QMutexLocker locker(&mutex());
    return anyObject(BDBIndexType,
                     [&](BDBObject* object) { return &static_cast<BDBIndex*>(object)->state() == &state; });
}
