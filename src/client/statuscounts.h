#ifndef QUORVA_CLIENT_STATUSCOUNTS_H
#define QUORVA_CLIENT_STATUSCOUNTS_H

#include <QtGlobal>

#include <array>

namespace Client {

/** A server's counters since its start: the values in a status, or the change between two. */
struct ServerCounts {
    qint64 receivedBytes = 0;
    qint64 sentBytes = 0;
    qint64 connectionsAccepted = 0;
    qint64 connectionsRefused = 0;
    double processorSeconds = 0;

    /** The change since `before`. */
    ServerCounts since(const ServerCounts& before) const;
};

/** The same for an environment, since it was opened. */
struct EnvironmentCounts {
    qint64 cacheHits = 0;
    qint64 cacheMisses = 0;
    qint64 lockWaits = 0;
    qint64 deadlocks = 0;
    qint64 commits = 0;
    qint64 aborts = 0;
    qint64 flushes = 0;

    EnvironmentCounts since(const EnvironmentCounts& before) const;
    /** Whether these counts continue those of `before`. They start over when the environment is reopened. */
    bool continues(const EnvironmentCounts& before) const;

private:
    static const std::array<qint64 EnvironmentCounts::*, 7> All;
};

} // namespace Client

#endif
