#ifndef QUORVA_REQUEST_REQUESTTRACE_H
#define QUORVA_REQUEST_REQUESTTRACE_H

#include "metrics/waits.h"

#include <QByteArray>

#include <chrono>

/** The facts recorded for each request while slow requests are reported, in case it becomes one. */
struct RequestTrace {
    QByteArray table; // the TableName; for a batch or Commit, the first one
    bool hasKeys = false;
    QByteArray hashKey; // of the item; for a page, the first possible one; for a batch, that of the first write
    QByteArray rangeKey;
    int items = 0; // read, written or, by a Scan, examined
    Metrics::Waits waits;
    std::chrono::nanoseconds queued{0};                 // until a thread ran it
    std::chrono::steady_clock::time_point composedAt{}; // when its reply was first ready to be sent
};

#endif
