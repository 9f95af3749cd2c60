#include "log/log.h"
#include "net/bdbserver.h"
#include "peer/allowedusers.h"
#include "protocol/endpoint.h"
#include "protocol/limits.h"
#include "request/slowrequests.h"
#include "server/hangupwatch.h"
#include "server/lkthread.h"
#include "server/lockfile.h"
#include "server/logfile.h"
#include "server/options.h"
#include "server/processsetup.h"
#include "storage/enginecalls.h"
#include "storage/settings.h"
#include "json/jsontext.h"

#include <QCoreApplication>

#include <db_cxx.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr int StartFailed = -1; // the parent sees 255
constexpr std::chrono::milliseconds InstanceLockLimit(10000);

/** A format for the address and the default port. */
constexpr const char* HelpText = R"(Usage: quorva [-p PORT] [-d LOGFILE] [-s LEVEL] [-w WORKERS] [-m THREADS] [-n]

A local table server on %s.

  -p PORT      port to listen on (%d)
  -d LOGFILE   log file, appended to (standard error)
  -s LEVEL     1 or more: debug lines; 4, 8, 12, 16, 20: statistics as well (0)
  -w WORKERS   I/O worker threads (4 for each processor)
  -m THREADS   most threads of the database pool (40 for each processor)
  -n           commit without waiting for the disk

  --help, --version   as the only argument

SIGHUP reopens the log file, for a rotation that has renamed it.
QUORVA_LOCKFILE names the lock file that keeps a second server out, OSTRIK_LOCKFILE the one that the parent
holds for as long as the server is to run: a path, or a name inside $TMPDIR (/tmp). QUORVA_ALLOW_USERS lists the
users who may connect: names or numbers, separated by commas; unset means all. QUORVA_SLOW_MS is a number of
milliseconds: a request that takes longer is one line in the log; unset means none.
)";

/** Handles "--help" and "--version" as the only argument; anything else is left to the option parser. */
bool printedInformation(int argc, const char* const* argv)
{
    if (argc != 2)
        return false;
    if (std::strcmp(argv[1], "--help") == 0)
        std::printf(HelpText, Endpoint::Host, Endpoint::DefaultPort);
    else if (std::strcmp(argv[1], "--version") == 0)
        std::puts("quorva " QUORVA_VERSION);
    else
        return false;
    return true;
}

/** Ensures that this process is the only server with that lock name; without a name there may be many. */
bool becomeOnlyServer(LockFile* lock)
{
    lock->closeInherited();
    if (!lock->isNamed())
        return true;
    // Kept: the log has no destination before the options are read, so these lines are discarded and a parent sees only
    // the exit status. The lock still comes first: a second server must not touch the first one's log.
    if (!lock->create()) {
        LOG_ERROR(LogOrigin::Server, 187) << "Quorva CreateMutex failed with error " << lock->error();
        return false;
    }
    if (lock->acquire(InstanceLockLimit) != LockFile::Wait::Acquired) {
        LOG_ERROR(LogOrigin::Server, 193) << "Quorva WaitForSingleObject failed with error code: " << lock->error();
        return false;
    }
    return true;
}

bool haveUsableSizes(const ServerOptions& options)
{
    if (options.workers < 1) {
        LOG_CRIT(LogOrigin::Server, __LINE__) << "invalid worker count " << options.workers;
        return false;
    }
    if (options.poolMax < 1) {
        LOG_CRIT(LogOrigin::Server, __LINE__) << "invalid pool size " << options.poolMax;
        return false;
    }
    return true;
}

/** Determines who may connect. False when that is unknown or cannot be monitored: no one is served then. */
bool readAllowedUsers(AllowedUsers* users)
{
    const char* const list = std::getenv("QUORVA_ALLOW_USERS");
    if (list == nullptr)
        return true;
    const std::string error = users->restrictTo(list);
    if (!error.empty())
        LOG_CRIT(LogOrigin::Server, __LINE__) << "invalid QUORVA_ALLOW_USERS \"" << list << "\": " << error;
    return error.empty();
}

/** Enables the report of slow requests if a threshold is set. An invalid threshold counts as none. */
void configureSlowRequests()
{
    const QByteArray text = qgetenv("QUORVA_SLOW_MS");
    const auto threshold = ServerOptions::slowThreshold(text);
    if (!threshold) {
        LOG_WARN << "invalid QUORVA_SLOW_MS \"" << text
                 << "\": it is a number of milliseconds up to 86400000; slow requests are not reported";
        return;
    }
    SlowRequests::setThreshold(*threshold);
}

} // namespace

int main(int argc, char** argv)
{
    if (printedInformation(argc, argv))
        return 0;
    ProcessSetup::prepare();
    EngineCalls::replace();
    Json::registerTypes();
    LockFile(qgetenv("OSTRIK_LOCKFILE")).closeInherited();

    ServerOptions options(ServerOptions::coreCount());
    const QByteArray lockName = qgetenv("QUORVA_LOCKFILE");
    LOG_DEBUG << "locking " << lockName;
    LockFile lock(lockName);
    if (!becomeOnlyServer(&lock))
        return StartFailed;

    options.read(argc, argv);
    Settings::setStatLevel(options.statLevel);
    Settings::setTxnCommitFlags(options.commitWithoutSync ? DB_TXN_NOSYNC : DB_TXN_SYNC);
    LogFile logFile(options.logFile);

    QCoreApplication application(argc, argv);
    logFile.open();
    Log::setThreshold(options.statLevel >= 1 ? LogDebug : LogInfo);
    LOG_DEBUG << "Configurations loaded";
    AllowedUsers users;
    if (!haveUsableSizes(options) || !readAllowedUsers(&users))
        return StartFailed;
    configureSlowRequests();

    BDBServer server(Limits::OpenDatabases + 1, 256, 12341234, 0x100000, options.workers, options.poolMax);
    server.setIdentity({QStringLiteral(QUORVA_VERSION), QString::fromLocal8Bit(options.logFile),
                        QString::fromLocal8Bit(qgetenv("QUORVA_ALLOW_USERS"))});
    if (users.isRestricted())
        server.admitOnly(&users);
    if (const int rc = server.listen(Endpoint::Host, options.port); rc != 0) {
        LOG_CRIT(LogOrigin::Server, 258) << "listen failed at port " << options.port << " rc " << rc;
        return StartFailed;
    }
    LOG_INFO << "Server listening on " << server.port();

    // cppcheck-suppress unreadVariable ; both work for as long as they live
    const HangupWatch hangups([&] { logFile.reopen(); });
    const LKThread parentWatch(&application);
    QCoreApplication::exec();
    server
        .flushEnvironments(); // commits may still be in the log's buffer: with -n, or because their replies still wait
    // Immediately and without destructors: they would wait for running requests, and the parent is gone. Commits are
    // in Berkeley DB's log, and all our log lines have been flushed.
    _exit(0);
}
