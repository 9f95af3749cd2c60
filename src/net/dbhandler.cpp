#include "net/dbhandler.h"

#include "net/bdbiomaster.h"
#include "net/bdbioworker.h"
#include "net/bdbreqhandler.h"
#include "storage/bdbenv.h"
#include "storage/logflusher.h"

#include <new>

namespace {

/** `step`'s result, or -1 if it runs out of memory: a request that is too large closes only its own connection. */
template <typename Step> int orOutOfMemory(Step step)
{
    try {
        return step();
    } catch (const std::bad_alloc&) {
        return -1;
    }
}

} // namespace

DBHandler::DBHandler(BDBReqHandler* handler, BDBIOWorker* worker) : handler_(handler), worker_(worker) {}

void DBHandler::run()
{
    finish(orOutOfMemory([this] { return handler_->handle(); }));
}

bool DBHandler::runIfShort()
{
    const int rc = orOutOfMemory([this] { return handler_->handleIfShort(); });
    if (rc == BDBReqHandler::TakesLong)
        return false;
    finish(rc);
    return true;
}

/**
 * Finishes a request that has been handled with this result: closes the connection, or posts the reply as soon as it
 * may be sent.
 */
void DBHandler::finish(int rc)
{
    if (rc != 0)
        return closeConnection();
    EnvironmentUse environment = handler_->takeEnvironment();
    if (!environment.unflushed().any()) {
        // First: the client's next request may run before this thread returns, and should find the environment unused.
        environment.reset();
        return answer(0);
    }
    BDBIOMaster& master = worker_->master();
    LogFlusher& flusher = environment.env()->logFlusher();
    master.beginWaitingReply();
    const auto later = [handler = handler_, worker = worker_](int flushed) {
        BDBIOMaster& served = worker->master();
        DBHandler(handler, worker).answer(flushed);
        served.endWaitingReply();
    };
    int flushed = 0;
    if (flusher.flush(std::move(environment), later, &flushed))
        later(flushed);
}

/** Posts the reply after a flush with this result, or 0 if none was needed. */
void DBHandler::answer(int flushed)
{
    const int rc = orOutOfMemory([&] {
        const int finished = handler_->finishReply(flushed);
        return finished != 0 ? finished : worker_->postWrite(handler_);
    });
    if (rc != 0)
        closeConnection(); // otherwise the handler belongs to the next event's thread
}

void DBHandler::closeConnection()
{
    (void)worker_->closeConnection(handler_); // it cannot fail
}
