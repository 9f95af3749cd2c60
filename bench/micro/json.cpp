#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include "common/workload.h"

#include <benchmark/benchmark.h>

namespace {

/** A stored item; the argument is its size in bytes. */
QByteArray itemText(const benchmark::State& state)
{
    return Json::serialize(Bench::Workload{200, static_cast<unsigned>(state.range(0))}.item());
}

void countBytes(benchmark::State& state, const QByteArray& text)
{
    state.SetBytesProcessed(state.iterations() * text.size());
}

void parseItem(benchmark::State& state)
{
    const QByteArray text = itemText(state);
    for (auto _ : state) {
        QVariant value;
        benchmark::DoNotOptimize(Json::parse(text, &value));
    }
    countBytes(state, text);
}
BENCHMARK(parseItem)->Arg(100)->Arg(1024)->Arg(100'000);

void writeItem(benchmark::State& state)
{
    const QByteArray text = itemText(state);
    QVariant value;
    if (!Json::parse(text, &value))
        state.SkipWithError("the item does not parse");
    for (auto _ : state)
        benchmark::DoNotOptimize(Json::serialize(value));
    countBytes(state, text);
}
BENCHMARK(writeItem)->Arg(100)->Arg(1024)->Arg(100'000);

} // namespace
