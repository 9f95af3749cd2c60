#include "http/workerpool.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <utility>

namespace Http {

namespace {

thread_local bool makesRoom = false; // the connection that this thread serves

} // namespace

Crowd::Crowd(int threads) : threads_(threads), descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

Crowd::~Crowd()
{
    close(descriptor_);
}

bool Crowd::makeRoom()
{
    const std::lock_guard lock(mutex_);
    if (!makesRoom && present_ - threads_ > makingRoom_) {
        makesRoom = true;
        ++makingRoom_;
        update();
    }
    return makesRoom;
}

void Crowd::enter()
{
    const std::lock_guard lock(mutex_);
    ++present_;
    update();
}

void Crowd::leave()
{
    const std::lock_guard lock(mutex_);
    --present_;
    if (std::exchange(makesRoom, false))
        --makingRoom_;
    update();
}

void Crowd::update()
{
    const bool isTooFull = present_ - threads_ > makingRoom_;
    if (isTooFull == std::exchange(isReadable_, isTooFull))
        return;
    eventfd_t value = 0;
    (void)(isTooFull ? eventfd_write(descriptor_, 1) : eventfd_read(descriptor_, &value)); // ignored: neither can fail
}

void WorkerPool::enqueue(std::function<void()> task)
{
    crowd_->enter();
    pool_.enqueue([crowd = crowd_, task = std::move(task)] {
        task();
        crowd->leave();
    });
}

} // namespace Http
