#include "api/backoff.h"

#include <algorithm>
#include <random>
#include <thread>

namespace Api {

namespace {

constexpr std::chrono::microseconds ShortestRange{500}; // about one exchange with the server
constexpr int MostDoublings = 6;                        // to 32 ms, several transactions that wait for the disk

} // namespace

bool BackOff::pause()
{
    thread_local std::minstd_rand random{std::random_device{}()};
    if (Clock::now() >= deadline_)
        return false;
    const auto range = ShortestRange * (1 << std::min(attempts_++, MostDoublings));
    std::this_thread::sleep_for(
        std::chrono::microseconds(std::uniform_int_distribution<long>(0, range.count())(random)));
    return true;
}

} // namespace Api
