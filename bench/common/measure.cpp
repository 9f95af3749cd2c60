#include "common/measure.h"

#include <algorithm>
#include <cstdio>

namespace Bench {

namespace {

std::chrono::nanoseconds nanosecondsOf(double seconds)
{
    return std::chrono::nanoseconds(static_cast<std::int64_t>(seconds * 1e9));
}

} // namespace

Window::Window(double warmUpSeconds, double seconds)
    : begin(Clock::now() + nanosecondsOf(warmUpSeconds)), end(begin + nanosecondsOf(seconds))
{}

void Result::addSuccess(const Window& window, Clock::time_point began, Clock::time_point now, std::size_t requestSize,
                        std::size_t replySize)
{
    if (now < window.begin || now >= window.end)
        return;
    latencies.add(static_cast<std::uint64_t>(std::chrono::nanoseconds(now - began).count()));
    requestBytes += requestSize;
    replyBytes += replySize;
}

void Result::add(const Result& other)
{
    latencies.add(other.latencies);
    errors += other.errors;
    requestBytes += other.requestBytes;
    replyBytes += other.replyBytes;
}

void print(const std::string& title, const Result& result, double seconds, bool asJson)
{
    const auto microseconds = [&](double quantile) {
        return static_cast<double>(result.latencies.atQuantile(quantile)) / 1000;
    };
    const auto count = result.latencies.count();
    const double rate = static_cast<double>(count) / seconds;
    const double longest = static_cast<double>(result.latencies.longest()) / 1000;
    const auto divisor = static_cast<double>(std::max<std::uint64_t>(count, 1));
    if (asJson)
        std::printf(
            "{\"ops\": %llu, \"seconds\": %.3f, \"rate\": %.1f, \"errors\": %llu, \"p50\": %.1f, \"p99\": %.1f, "
            "\"p999\": %.1f, \"max\": %.1f, \"requestBytes\": %.0f, \"replyBytes\": %.0f}\n",
            static_cast<unsigned long long>(count), seconds, rate, static_cast<unsigned long long>(result.errors),
            microseconds(0.5), microseconds(0.99), microseconds(0.999), longest,
            static_cast<double>(result.requestBytes) / divisor, static_cast<double>(result.replyBytes) / divisor);
    else
        std::printf("%s: %.0f/s, p50 %.0f us, p99 %.0f us, p99.9 %.0f us, max %.0f us, %llu errors\n", title.c_str(),
                    rate, microseconds(0.5), microseconds(0.99), microseconds(0.999), longest,
                    static_cast<unsigned long long>(result.errors));
}

} // namespace Bench
