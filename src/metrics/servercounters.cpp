#include "metrics/servercounters.h"

namespace Metrics {

namespace {

constinit ServerTotals totals;

} // namespace

ServerTotals& server()
{
    return totals;
}

} // namespace Metrics
