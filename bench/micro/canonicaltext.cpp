#include "json/canonicaltext.h"

#include "common/workload.h"

#include "json/jsonwriter.h"

#include <benchmark/benchmark.h>

namespace {

/** Finding the members of a stored item without a tree; the argument is its size in bytes. */
void splitItem(benchmark::State& state)
{
    const QByteArray text = Json::serialize(Bench::Workload{200, static_cast<unsigned>(state.range(0))}.item());
    std::vector<Json::MemberText> members;
    for (auto _ : state)
        benchmark::DoNotOptimize(Json::splitObject(text, &members));
    state.SetBytesProcessed(state.iterations() * text.size());
}
BENCHMARK(splitItem)->Arg(100)->Arg(1024)->Arg(100'000);

} // namespace
