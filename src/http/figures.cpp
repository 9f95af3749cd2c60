#include "http/figures.h"

#include "protocol/administration.h"

#include <array>

namespace Http::Figures {

namespace {

using Client::ServerStatus;
using Environment = ServerStatus::Environment;
using Type = PrometheusText::Type;

void single(const char* name, Type type, const char* help, qint64 value, PrometheusText* text)
{
    text->family(name, type, help);
    text->sample(value);
}

void single(const char* name, Type type, const char* help, double value, PrometheusText* text)
{
    text->family(name, type, help);
    text->sample(value);
}

void writeServer(const ServerStatus& status, PrometheusText* text)
{
    text->family("quorva_build_info", Type::Gauge, "The server's version.");
    text->sample(qint64{1}, {{"version", status.version.toUtf8()}});
    single("quorva_start_time_seconds", Type::Gauge, "When the server started, in seconds since 1970.",
           status.startTime, text);
    const ServerStatus::Process& process = status.process;
    single("quorva_resident_memory_bytes", Type::Gauge, "Memory of the server's process.", process.residentBytes, text);
    single("quorva_cpu_seconds_total", Type::Counter, "Processor time of the server's process.",
           status.processorSeconds, text);
    single("quorva_open_fds", Type::Gauge, "Descriptors that the server's process has open.", process.descriptors,
           text);
    single("quorva_max_fds", Type::Gauge, "Descriptors that it may have open.", process.descriptorLimit, text);
    single("quorva_connections", Type::Gauge, "Open connections to the server.", status.openConnections, text);
    single("quorva_connections_accepted_total", Type::Counter, "Connections that the server has served.",
           status.connectionsAccepted, text);
    single("quorva_connections_refused_total", Type::Counter,
           "Connections that the server has closed because of their user or for lack of resources.",
           status.connectionsRefused, text);
    single("quorva_received_bytes_total", Type::Counter, "Bytes received from the server's clients.",
           status.receivedBytes, text);
    single("quorva_sent_bytes_total", Type::Counter, "Bytes sent to the server's clients.", status.sentBytes, text);
}

void writeThreads(const ServerStatus::Threads& threads, PrometheusText* text)
{
    single("quorva_workers", Type::Gauge, "Threads that receive requests.", qint64{threads.workers}, text);
    single("quorva_workers_busy", Type::Gauge, "Of those, how many are at work.", qint64{threads.workersBusy}, text);
    single("quorva_pool_threads", Type::Gauge, "Threads of the database pool.", qint64{threads.pool}, text);
    single("quorva_requests_running", Type::Gauge, "Requests that run, on workers and in the pool.",
           qint64{threads.poolBusy}, text);
    single("quorva_requests_queued", Type::Gauge, "Requests that wait for a thread.", qint64{threads.poolQueue}, text);
    single("quorva_replies_waiting", Type::Gauge, "Replies that wait until the log is on disk.",
           qint64{threads.repliesWaiting}, text);
}

std::vector<Label> labelsOf(const ServerStatus::Requests& requests)
{
    return {{"operation", requests.operation.toUtf8()}, {"outcome", requests.outcome.toUtf8()}};
}

void writeRequests(const std::vector<ServerStatus::Requests>& all, qint64 slow, PrometheusText* text)
{
    constexpr double Microsecond = 1e-6;
    text->family("quorva_requests_total", Type::Counter, "Requests answered, by operation and outcome.");
    for (const ServerStatus::Requests& requests : all)
        text->sample(requests.count, labelsOf(requests));
    text->family("quorva_request_duration_seconds", Type::Histogram,
                 "How long requests took, from their receipt to their reply.");
    for (const ServerStatus::Requests& requests : all) {
        std::vector<double> bounds;
        for (const qint64 bound : requests.latencies.bounds)
            bounds.push_back(static_cast<double>(bound) / 1e6);
        text->histogram(bounds, requests.latencies.counts, static_cast<double>(requests.microseconds) * Microsecond,
                        labelsOf(requests));
    }
    single("quorva_slow_requests_total", Type::Counter, "Requests that took longer than QUORVA_SLOW_MS.", slow, text);
}

/** A figure of each environment. */
template <class Value> struct EnvironmentFigure {
    const char* name;
    Type type;
    const char* help;
    Value Environment::*member;
};

constexpr std::array Counts{
    EnvironmentFigure<qint64>{"quorva_environment_tables", Type::Gauge, "Open tables.", &Environment::tables},
    EnvironmentFigure<qint64>{"quorva_environment_files", Type::Gauge, "Open database files.", &Environment::files},
    EnvironmentFigure<qint64>{"quorva_environment_cache_bytes", Type::Gauge, "Size of the cache.",
                              &Environment::cacheBytes},
    EnvironmentFigure<qint64>{"quorva_environment_cache_pages", Type::Gauge, "Pages in the cache.",
                              &Environment::cachePages},
    EnvironmentFigure<qint64>{"quorva_environment_cache_dirty_pages", Type::Gauge,
                              "Pages in the cache that have not been written to disk yet.",
                              &Environment::cacheDirtyPages},
    EnvironmentFigure<qint64>{"quorva_environment_cache_hits_total", Type::Counter, "Pages found in the cache.",
                              &Environment::cacheHits},
    EnvironmentFigure<qint64>{"quorva_environment_cache_misses_total", Type::Counter,
                              "Pages that had to be read from a file.", &Environment::cacheMisses},
    EnvironmentFigure<qint64>{"quorva_environment_lock_waits_total", Type::Counter, "Locks that had to be waited for.",
                              &Environment::lockWaits},
    EnvironmentFigure<qint64>{"quorva_environment_deadlocks_total", Type::Counter, "Deadlocks.",
                              &Environment::deadlocks},
    EnvironmentFigure<qint64>{"quorva_environment_log_file_number", Type::Gauge, "Number of the newest log file.",
                              &Environment::logFile},
    EnvironmentFigure<qint64>{"quorva_environment_log_offset_bytes", Type::Gauge,
                              "Where the log ends in its newest file.", &Environment::logOffset},
    EnvironmentFigure<qint64>{"quorva_environment_log_files", Type::Gauge, "Log files on disk.",
                              &Environment::logFiles},
    EnvironmentFigure<qint64>{"quorva_environment_log_bytes", Type::Gauge, "Size of the log files on disk.",
                              &Environment::logBytes},
    EnvironmentFigure<qint64>{"quorva_environment_commits_total", Type::Counter, "Transactions committed.",
                              &Environment::commits},
    EnvironmentFigure<qint64>{"quorva_environment_aborts_total", Type::Counter, "Transactions aborted.",
                              &Environment::aborts},
    EnvironmentFigure<qint64>{"quorva_environment_flushes_total", Type::Counter, "Times the log was written to disk.",
                              &Environment::flushes},
    EnvironmentFigure<qint64>{"quorva_environment_sync_failed", Type::Gauge,
                              "1 after a sync of a file has failed: writes are refused.", &Environment::syncFailed},
};

/** Times, omitted where there is none. */
constexpr std::array Times{
    EnvironmentFigure<double>{"quorva_environment_last_checkpoint_timestamp_seconds", Type::Gauge,
                              "The latest checkpoint, in seconds since 1970.", &Environment::lastCheckpoint},
    EnvironmentFigure<double>{"quorva_environment_backup_since_timestamp_seconds", Type::Gauge,
                              "When the backup began, in seconds since 1970.", &Environment::backupSince},
    EnvironmentFigure<double>{"quorva_environment_backup_until_timestamp_seconds", Type::Gauge,
                              "The time up to which the backup has all changes, in seconds since 1970.",
                              &Environment::backupUntil},
};

void writeBackupStates(const std::vector<Environment>& environments, PrometheusText* text)
{
    text->family("quorva_environment_backup_state", Type::Gauge,
                 "1 for the state that the environment's backup is in, 0 for the others.");
    for (const Environment& environment : environments) {
        for (const char* state :
             {BackupStates::None, BackupStates::Copying, BackupStates::Shipping, BackupStates::Stopping})
            text->sample(qint64{environment.backupState == QLatin1String(state)},
                         {{"directory", environment.directory.toUtf8()}, {"state", state}});
    }
}

void writeEnvironments(const std::vector<Environment>& environments, PrometheusText* text)
{
    for (const auto& figure : Counts) {
        text->family(figure.name, figure.type, figure.help);
        for (const Environment& environment : environments)
            text->sample(environment.*figure.member, {{"directory", environment.directory.toUtf8()}});
    }
    for (const auto& figure : Times) {
        text->family(figure.name, figure.type, figure.help);
        for (const Environment& environment : environments) {
            if (environment.*figure.member > 0)
                text->sample(environment.*figure.member, {{"directory", environment.directory.toUtf8()}});
        }
    }
    writeBackupStates(environments, text);
}

} // namespace

void write(const ServerStatus& status, PrometheusText* text)
{
    writeServer(status, text);
    writeThreads(status.threads, text);
    writeRequests(status.requests, status.slowRequestCount, text);
    writeEnvironments(status.environments, text);
}

void write(const TransportFigures& figures, PrometheusText* text)
{
    single("quorva_http_connections", Type::Gauge, "Open HTTP connections.", figures.open.value(), text);
    single("quorva_http_connections_accepted_total", Type::Counter, "HTTP connections served.",
           figures.accepted.value(), text);
    single("quorva_http_connections_refused_total", Type::Counter, "HTTP connections closed because of their user.",
           figures.refused.value(), text);
    single("quorva_http_received_bytes_total", Type::Counter, "Bytes received from HTTP clients.",
           figures.receivedBytes.value(), text);
    single("quorva_http_sent_bytes_total", Type::Counter, "Bytes sent to HTTP clients.", figures.sentBytes.value(),
           text);
    text->family("quorva_http_responses_total", Type::Counter, "HTTP responses, by status code.");
    for (int status = 0; status < TransportFigures::Statuses; ++status) {
        if (const qint64 count = figures.responses(status).value(); count > 0)
            text->sample(count, {{"code", QByteArray::number(status)}});
    }
}

} // namespace Http::Figures
