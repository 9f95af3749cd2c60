#include "http/workerpool.h"

#include <sys/eventfd.h>

#include <utility>

namespace Http {

void WorkerPool::enqueue(std::function<void()> task)
{
    if (++taken_ > threads_)
        (void)eventfd_write(giveWay_, 1); // ignored: fails only when the counter is at its end
    pool_.enqueue([this, task = std::move(task)] {
        task();
        --taken_;
    });
}

} // namespace Http
