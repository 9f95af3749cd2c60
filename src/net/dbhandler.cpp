#include "net/dbhandler.h"

#include "net/bdbioworker.h"
#include "net/bdbreqhandler.h"

#include <new>

namespace {

/** `step`'s result; a request that is too large for memory fails, and so ends only its own connection. */
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

/** Posts the reply of a request that has been handled with this result, or closes its connection. */
void DBHandler::finish(int rc)
{
    // On success the handler belongs to the next event's thread.
    if (rc != 0 || orOutOfMemory([this] { return worker_->postWrite(handler_); }) != 0)
        (void)worker_->closeConnection(handler_); // it cannot fail
}
