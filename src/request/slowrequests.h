#ifndef QUORVA_REQUEST_SLOWREQUESTS_H
#define QUORVA_REQUEST_SLOWREQUESTS_H

#include <QByteArray>
#include <QString>

#include <chrono>
#include <cstdint>
#include <vector>

/** A request that has taken longer than it should. */
struct SlowRequest {
    std::chrono::system_clock::time_point time; // of its answer
    QString operation;
    QString outcome; // "Success" or the last part of the reply's "__type"
    QString table;   // as the request named it; the beginning of a long name
    QString keys;    // as SlowRequests::keysText() makes them; empty if it names none
    std::chrono::nanoseconds total{0};
    // Of the total:
    std::chrono::nanoseconds queued{0}; // for a thread
    std::chrono::nanoseconds locks{0};
    std::chrono::nanoseconds disk{0};
    std::chrono::nanoseconds flush{0}; // of the log, after the operation
    int items = 0;
    int retries = 0;
    QString peer; // the client's address and port

    static double milliseconds(std::chrono::nanoseconds time)
    {
        return std::chrono::duration<double, std::milli>(time).count();
    }
};

/**
 * The requests that take longer than the operator's threshold: each is logged as a WARN line, and the latest are kept.
 * The main thread sets the threshold before other threads exist; everything else is for any thread.
 */
namespace SlowRequests {

inline constexpr std::size_t Kept = 16;

/** The maximum number of lines per second; the next one says how many were omitted. */
inline constexpr int LinesPerSecond = 10;

/** 0, the default: no request is slow, and none is measured. */
std::chrono::milliseconds threshold();
void setThreshold(std::chrono::milliseconds threshold);

/** Writes the line, unless there are too many, and keeps the request. */
void report(const SlowRequest& request);

/** The latest ones, newest first. */
std::vector<SlowRequest> latest();

/** All since the start of the process, including those without a line. */
std::uint64_t count();

/** The two keys as they appear in the line: quoted, on one line, and truncated if they are long. */
QString keysText(const QByteArray& hashKey, const QByteArray& rangeKey);

/** A table's name, truncated to fit into a line. */
QString tableText(const QByteArray& tableName);

} // namespace SlowRequests

#endif
