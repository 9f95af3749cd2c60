#ifndef QUORVA_CLIENT_LATENCYHISTOGRAM_H
#define QUORVA_CLIENT_LATENCYHISTOGRAM_H

#include <QtGlobal>

#include <limits>
#include <vector>

namespace Client {

/**
 * A histogram of request latencies: a count for each of the server's classes, which `bounds` separate, and one for
 * longer times.
 */
struct Latencies {
    /** A time longer than all bounds. */
    static constexpr qint64 Beyond = std::numeric_limits<qint64>::max();

    std::vector<qint64> bounds; // microseconds, ascending: the inclusive upper bound of each class
    std::vector<qint64> counts; // by class; one more than bounds

    qint64 total() const;

    /**
     * The upper bound, in microseconds, of the class of the request at this quantile, from 0 to 1: 0.5 is the median, 1
     * the slowest. Beyond for the last class; 0 if there are no requests.
     */
    qint64 quantile(double part) const;

    /** Adds the counts of others, which have the same bounds. */
    void add(const Latencies& others);
    /** Subtracts the counts of `before`, which has the same bounds and no larger counts. */
    void subtract(const Latencies& before);
};

} // namespace Client

#endif
