#include "protocol/framing.h"

#include "client/wireconnection.h"
#include "protocol/operations.h"

#include <benchmark/benchmark.h>

namespace {

void parseRequestHeader(benchmark::State& state)
{
    const QByteArray bytes = Framing::frameRequest(Operations::fullName("PutItem"), QByteArray(1024, 'x'));
    for (auto _ : state) {
        Framing::RequestHeader header;
        benchmark::DoNotOptimize(
            Framing::parseHeader({bytes.constData(), static_cast<std::size_t>(bytes.size())}, &header));
    }
}
BENCHMARK(parseRequestHeader);

void frameRequest(benchmark::State& state)
{
    const QByteArray name = Operations::fullName("PutItem");
    const QByteArray body(1024, 'x');
    for (auto _ : state)
        benchmark::DoNotOptimize(Framing::frameRequest(name, body));
}
BENCHMARK(frameRequest);

} // namespace
