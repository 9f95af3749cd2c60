#include "net/framing.h"

#include "client/wireconnection.h"

#include <benchmark/benchmark.h>

namespace {

void parseRequestHeader(benchmark::State& state)
{
    const QByteArray bytes = Client::frameRequest(Client::fullOperationName("PutItem"), QByteArray(1024, 'x'));
    for (auto _ : state) {
        Framing::RequestHeader header;
        benchmark::DoNotOptimize(
            Framing::parseHeader({bytes.constData(), static_cast<std::size_t>(bytes.size())}, &header));
    }
}
BENCHMARK(parseRequestHeader);

void frameRequest(benchmark::State& state)
{
    const QByteArray name = Client::fullOperationName("PutItem");
    const QByteArray body(1024, 'x');
    for (auto _ : state)
        benchmark::DoNotOptimize(Client::frameRequest(name, body));
}
BENCHMARK(frameRequest);

} // namespace
