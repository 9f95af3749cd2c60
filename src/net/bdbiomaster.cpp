#include "net/bdbiomaster.h"

#include "log/log.h"
#include "net/bdbioworker_linux.h"

#include <QMutexLocker>

#include <chrono>
#include <new>
#include <utility>

namespace {

constexpr const char* LogOrigin = "bdbiomaster";
constexpr std::chrono::milliseconds PoolThreadExpiry{120000}; // idle ones end then

} // namespace

BDBIOMaster::BDBIOMaster(int envTableCapacity, int connectionTableCapacity, BDBObjTable* environments)
    : environments_(environments), envTableCapacity_(envTableCapacity),
      connectionTableCapacity_(connectionTableCapacity)
{}

BDBIOMaster::~BDBIOMaster()
{
    port_.stop();
    for (const auto& worker : workers_)
        worker->waitStopped();
    // Requests reply through their worker, so the workers must outlive all requests.
    pool_.waitForDone();
    endWaitingReply();
    std::unique_lock lock(repliesMutex_);
    repliesSent_.wait(lock, [this] { return allRepliesSent_; });
}

void BDBIOMaster::init(int workers, int poolMax)
{
    pool_.configure(poolMax, PoolThreadExpiry);
    LOG_INFO << "Workers count " << workers << " db-pool max-thread-count " << poolMax;
    for (int id = 0; id < workers; ++id) {
        std::unique_ptr<BDBIOWorker> worker = createWorker();
        if (worker == nullptr)
            LOG_CRIT(LogOrigin, 60) << "Worker creation failed, insufficient memory id " << id;
        else if (worker->startWorker() != 0)
            LOG_ERROR(LogOrigin, 65) << "IOWorker init failed id " << id;
        else
            workers_.push_back(std::move(worker));
    }
}

std::unique_ptr<BDBIOWorker> BDBIOMaster::createWorker()
{
    return std::unique_ptr<BDBIOWorker>(
        new (std::nothrow) BDBIOWorker_linux(envTableCapacity_, connectionTableCapacity_, environments_, this));
}

void BDBIOMaster::addConnection(int socket)
{
    if (workers_.empty()) { // none could be started
        const Base::Descriptor refused(socket);
        return;
    }
    if (nextWorker_ == workers_.size())
        nextWorker_ = 0;
    (void)workers_[nextWorker_++]->addConnection(socket); // on failure it has closed the socket; nothing else to do
}

void BDBIOMaster::beginWaitingReply()
{
    ++waitingReplies_;
}

void BDBIOMaster::endWaitingReply()
{
    if (--waitingReplies_ > 0)
        return; // the master may be destroyed from here on
    const std::lock_guard lock(repliesMutex_);
    allRepliesSent_ = true;
    repliesSent_.notify_all(); // under the mutex: once it is free, the master may be destroyed
}

BDBReqHandler* BDBIOMaster::keepConnection(Base::Descriptor socket, std::unique_ptr<BDBReqHandler> handler)
{
    BDBReqHandler* key = handler.get();
    const QMutexLocker locker(&connectionsMutex_);
    connections_.emplace(key, Connection{std::move(handler), std::move(socket)});
    return key;
}

void BDBIOMaster::endConnection(BDBReqHandler* handler)
{
    memory_.noteFreed(handler->transferSize());
    Connection ended; // destroyed without the lock
    const QMutexLocker locker(&connectionsMutex_);
    const auto found = connections_.find(handler);
    ended = std::move(found->second);
    connections_.erase(found);
}
