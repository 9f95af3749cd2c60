#include "storage/descriptorreserve.h"

#include "base/descriptor.h"

#include <atomic>

#include <fcntl.h>
#include <sys/resource.h>

namespace {

constexpr int KeptFree = 16;
constexpr int ClosedToConnections = 64;
constexpr int PerOpening = 4; // what another open in progress may still take

std::atomic<int> promised{0}; // the shares of all opens in progress

/**
 * Counts from the lowest free descriptor, which the kernel assigns next, until enough free ones are found. Those above
 * it are tested one by one: closed connections leave gaps, so the limit alone says nothing.
 */
bool enoughLeft(int wanted)
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
        return true;
    int lowestFree = -1;
    {
        const Base::Descriptor probe(::open("/", O_PATH | O_CLOEXEC));
        if (!probe.isOpen())
            return false;
        lowestFree = probe.number();
    }
    int left = 0;
    for (int descriptor = lowestFree; left < wanted && static_cast<rlim_t>(descriptor) < limit.rlim_cur; ++descriptor)
        left += ::fcntl(descriptor, F_GETFD) == -1 ? 1 : 0;
    return left >= wanted;
}

} // namespace

bool DescriptorReserve::includes(int descriptor)
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return false;
    return static_cast<rlim_t>(descriptor) + ClosedToConnections >= limit.rlim_cur;
}

DescriptorReserve::DescriptorReserve(int needed)
    : share_(PerOpening + needed), available_(enoughLeft(KeptFree + needed + promised.fetch_add(share_)))
{}

DescriptorReserve::~DescriptorReserve()
{
    promised.fetch_sub(share_);
}
