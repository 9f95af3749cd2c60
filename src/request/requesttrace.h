#ifndef QUORVA_REQUEST_REQUESTTRACE_H
#define QUORVA_REQUEST_REQUESTTRACE_H

#include "metrics/waits.h"

#include <QByteArray>

#include <chrono>

/** What is noted of a request, while slow requests are reported, for the case that it becomes one. */
struct RequestTrace {
    QByteArray table; // the TableName; of a batch or Commit the first one
    bool hasKeys = false;
    QByteArray hashKey; // of the item; of a page the first one that it may have; of a batch that of the first write
    QByteArray rangeKey;
    int items = 0; // read, written or, by a Scan, examined
    Metrics::Waits waits;
    std::chrono::nanoseconds queued{0};                 // until a thread ran it
    std::chrono::steady_clock::time_point composedAt{}; // when its reply was first ready to be sent
};

#endif
