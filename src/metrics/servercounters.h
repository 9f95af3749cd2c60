#ifndef QUORVA_METRICS_SERVERCOUNTERS_H
#define QUORVA_METRICS_SERVERCOUNTERS_H

#include "metrics/latencies.h"
#include "metrics/sharded.h"

#include <array>
#include <cstddef>

/**
 * What the process counts from its start on. Counting takes no lock and allocates nothing; reading adds up the counts
 * of all threads, and each number is exact in itself. Any thread.
 */
namespace Metrics {

inline constexpr std::size_t MostOperations = 32;
inline constexpr std::size_t MostOutcomes = 5;

struct ServerCounters {
    Counter bytesReceived; // from clients
    Counter bytesSent;     // of replies; each counts in full when sending begins
    /** Of answered requests, by the numbers of operation and outcome, which the caller defines. */
    std::array<std::array<LatencyCounter, MostOutcomes>, MostOperations> requests;
};

using ServerTotals = Sharded<ServerCounters, 64>;

/** The counters of the process. */
ServerTotals& server();

} // namespace Metrics

#endif
