#include "records/encoding.h"

#include "common/workload.h"

#include <benchmark/benchmark.h>

namespace {

void makeRecordKey(benchmark::State& state)
{
    const QByteArray hash = Bench::hashKey(0);
    const QByteArray range = Bench::rangeKey(0);
    for (auto _ : state)
        benchmark::DoNotOptimize(Records::recordKey(hash, range));
}
BENCHMARK(makeRecordKey);

void splitRecordKey(benchmark::State& state)
{
    const QByteArray key = Records::recordKey(Bench::hashKey(0), Bench::rangeKey(0));
    QByteArrayView hash;
    QByteArrayView range;
    for (auto _ : state)
        benchmark::DoNotOptimize(Records::decodeRecordKey(key, &hash, &range));
}
BENCHMARK(splitRecordKey);

/** The digest of a hash key; the argument is the key's length. */
void choosePartition(benchmark::State& state)
{
    const QByteArray hash(state.range(0), 'h');
    for (auto _ : state)
        benchmark::DoNotOptimize(Records::partitionOf(hash, PartitionCount));
}
BENCHMARK(choosePartition)->Arg(8)->Arg(64)->Arg(1024);

} // namespace
