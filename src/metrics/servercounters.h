#ifndef QUORVA_METRICS_SERVERCOUNTERS_H
#define QUORVA_METRICS_SERVERCOUNTERS_H

#include "metrics/latencies.h"
#include "metrics/sharded.h"

#include <array>
#include <cstddef>

/**
 * What the process counts from its start on. Counting takes no lock and allocates nothing; reading adds up what the
 * threads have counted, each number exact by itself. Any thread.
 */
namespace Metrics {

inline constexpr std::size_t MostOperations = 32;
inline constexpr std::size_t MostOutcomes = 5;

struct ServerCounters {
    Counter bytesReceived; // from clients
    Counter bytesSent;     // of replies, each as a whole when it begins to be sent
    /** Of the requests that were answered, by the numbers of their operation and outcome, which the caller defines. */
    std::array<std::array<LatencyCounter, MostOutcomes>, MostOperations> requests;
};

using ServerTotals = Sharded<ServerCounters, 64>;

/** Those of the process. */
ServerTotals& server();

} // namespace Metrics

#endif
