#ifndef QUORVA_CLIENT_LATENCIES_H
#define QUORVA_CLIENT_LATENCIES_H

#include <QtGlobal>

#include <limits>
#include <vector>

namespace Client {

/**
 * Counts of requests by how long they took: one for each of the server's classes, which `bounds` separate, and one more
 * for the longer ones.
 */
struct Latencies {
    /** A time longer than all bounds. */
    static constexpr qint64 Beyond = std::numeric_limits<qint64>::max();

    std::vector<qint64> bounds; // microseconds, ascending: the inclusive upper end of each class
    std::vector<qint64> counts; // by class; one more than bounds

    qint64 total() const;

    /**
     * The upper end, in microseconds, of the class of the request that took longer than this part of all, from 0 to 1:
     * 0.5 is the median, 1 the slowest. Beyond for the last class; 0 when there are no requests.
     */
    qint64 quantile(double part) const;

    /** Adds the counts of others, which have the same bounds. */
    void add(const Latencies& others);
    /** Subtracts the counts of `before`, which has the same bounds and no larger counts. */
    void subtract(const Latencies& before);
};

} // namespace Client

#endif
