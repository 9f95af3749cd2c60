#include "net/bdbiomaster.h"

#include "log/log.h"
#include "net/bdbioworker_linux.h"

#include <QMutexLocker>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <new>
#include <utility>

namespace {

constexpr std::chrono::milliseconds PoolThreadExpiry{120000}; // idle ones end then

} // namespace

BDBIOMaster::BDBIOMaster(int envTableCapacity, int connectionTableCapacity, BDBObjTable* environments,
                         const ServerView* view)
    : environments_(environments), view_(view), envTableCapacity_(envTableCapacity),
      connectionTableCapacity_(connectionTableCapacity)
{}

BDBIOMaster::~BDBIOMaster()
{
    port_.stop();
    for (const auto& worker : workers_)
        worker->waitStopped();
    // Requests reply through their worker, so the workers must outlive all requests.
    pool_.waitForDone();
    operatorsPool_.waitForDone();
    endWaitingReply();
    std::unique_lock lock(repliesMutex_);
    repliesSent_.wait(lock, [this] { return allRepliesSent_; });
}

void BDBIOMaster::init(int workers, int poolMax)
{
    pool_.configure(poolMax, PoolThreadExpiry);
    operatorsPool_.configure(1, PoolThreadExpiry);
    LOG_INFO << "Workers count " << workers << " db-pool max-thread-count " << poolMax;
    for (int id = 0; id < workers; ++id) {
        std::unique_ptr<BDBIOWorker> worker = createWorker();
        if (worker == nullptr)
            LOG_CRIT(LogOrigin::IoMaster, 60) << "Worker creation failed, insufficient memory id " << id;
        else if (worker->startWorker() != 0)
            LOG_ERROR(LogOrigin::IoMaster, 65) << "IOWorker init failed id " << id;
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
        noteRefused();
        return;
    }
    if (nextWorker_ == workers_.size())
        nextWorker_ = 0;
    if (workers_[nextWorker_++]->addConnection(socket) != 0 && socket > 0)
        noteRefused(); // the worker has closed the socket
}

void BDBIOMaster::describe(QVariantMap* status) const
{
    const auto count = [](std::uint64_t value) { return QVariant::fromValue(static_cast<qulonglong>(value)); };
    qsizetype open = 0;
    {
        const QMutexLocker locker(&connectionsMutex_);
        open = static_cast<qsizetype>(connections_.size());
    }
    status->insert(
        "Connections",
        QVariantMap{{"Open", open}, {"Accepted", count(accepted_.value())}, {"Refused", count(refused_.value())}});
    const DBThreadPool::Load load = pool_.load();
    const auto workers = static_cast<int>(workers_.size());
    status->insert("Threads", QVariantMap{{"Workers", workers},
                                          {"WorkersBusy", std::max(workers - port_.waiting(), 0)},
                                          {"Pool", load.threads},
                                          {"PoolBusy", load.running},
                                          {"PoolQueue", load.queued},
                                          {"RepliesWaiting", waitingReplies_ - 1}});
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
    accepted_.add();
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
    // cppcheck-suppress unreadVariable ; what counts is when it is destroyed
    ended = std::move(found->second);
    connections_.erase(found);
}
