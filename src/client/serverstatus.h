#ifndef QUORVA_CLIENT_SERVERSTATUS_H
#define QUORVA_CLIENT_SERVERSTATUS_H

#include "client/latencyhistogram.h"
#include "client/statuscounts.h"

#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <vector>

namespace Client {

/**
 * A server's state: the reply to a Status. Counts are since its start, those of an environment since it was opened.
 * Times are in seconds since 1970; 0 if there was none. Members that are missing in the reply are 0 or empty.
 */
struct ServerStatus : ServerCounts {
    QString version;
    qint64 processId = 0;
    double startTime = 0;
    double uptime = 0; // seconds
    int port = 0;
    QVariantMap options;      // by name, as the server has them
    int slowMilliseconds = 0; // requests that take longer are recorded; 0: none are

    struct Process {
        qint64 residentBytes = 0;
        qint64 descriptors = 0;
        qint64 descriptorLimit = 0;
    } process;

    qint64 openConnections = 0;

    struct Threads {
        int workers = 0; // receive requests and run short ones
        int workersBusy = 0;
        int pool = 0;           // run the other requests
        int poolBusy = 0;       // requests that run, on threads of both kinds
        int poolQueue = 0;      // requests that wait for a thread
        int repliesWaiting = 0; // for the log to be on disk
    } threads;

    /** The requests with one operation and one outcome. */
    struct Requests {
        QString operation; // without prefix
        QString outcome;   // "Success" or the error's type
        qint64 count = 0;
        qint64 microseconds = 0; // of all together
        Latencies latencies;

        bool isSuccess() const { return outcome == QLatin1String("Success"); }
    };
    std::vector<Requests> requests;

    struct SlowRequest {
        double time = 0;
        QString operation;
        QString table;
        QString keys;
        double milliseconds = 0; // in total, and of them for a thread, locks, reading from disk and the log
        double queueMilliseconds = 0;
        double lockMilliseconds = 0;
        double diskMilliseconds = 0;
        double flushMilliseconds = 0;
        qint64 items = 0;
        qint64 retries = 0;
        QString peer;
    };
    std::vector<SlowRequest> slowRequests; // the latest, newest first
    qint64 slowRequestCount = 0;           // since the start

    struct FailedRequest {
        double time = 0;
        QString operation;
        QString outcome;
        qint64 result = 0; // the number in the server's log
        QString table;
        QString keys;
        QString peer;
    };
    std::vector<FailedRequest> failedRequests; // the latest, newest first
    qint64 failedRequestCount = 0;             // since the start

    struct Environment : EnvironmentCounts {
        QString directory;
        QStringList openTables;
        qint64 tables = 0; // open, like the files
        qint64 files = 0;
        qint64 cacheBytes = 0;
        qint64 cachePages = 0;
        qint64 cacheDirtyPages = 0;
        qint64 logFile = 0;   // where the log ends: its newest file,
        qint64 logOffset = 0; // and bytes in that
        qint64 logFiles = 0;
        qint64 logBytes = 0; // on disk
        double lastCheckpoint = 0;
        qint64 syncFailed = 0; // 1: a sync of a file has failed, and nothing becomes durable
        QString backupState;   // one of BackupStates
        QString backupTarget;
        double backupSince = 0;
        double backupUntil = 0;
        QString logHeldFor; // the backup for which checkpoints keep all log files, whether or not it is running
        double logHeldSince = 0;
    };
    std::vector<Environment> environments;

    /** Reads the reply to a Status. */
    static ServerStatus of(const QVariantMap& reply);
};

} // namespace Client

#endif
