#include "client/latencyhistogram.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace Client {

qint64 Latencies::total() const
{
    return std::accumulate(counts.begin(), counts.end(), qint64{0});
}

qint64 Latencies::quantile(double part) const
{
    const qint64 all = total();
    if (all == 0)
        return 0;
    const qint64 rank = std::max<qint64>(1, std::llround(std::ceil(part * static_cast<double>(all))));
    qint64 counted = 0;
    for (std::size_t i = 0; i < std::min(bounds.size(), counts.size()); ++i) {
        counted += counts[i];
        if (counted >= rank)
            return bounds[i];
    }
    return Beyond;
}

void Latencies::add(const Latencies& others)
{
    bounds = others.bounds;
    counts.resize(std::max(counts.size(), others.counts.size()));
    for (std::size_t i = 0; i < others.counts.size(); ++i)
        counts[i] += others.counts[i];
}

void Latencies::subtract(const Latencies& before)
{
    for (std::size_t i = 0; i < std::min(counts.size(), before.counts.size()); ++i)
        counts[i] -= before.counts[i];
}

} // namespace Client
