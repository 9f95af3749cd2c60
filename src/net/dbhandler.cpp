#include "net/dbhandler.h"

#include "net/bdbioworker.h"
#include "net/bdbreqhandler.h"

#include <new>

DBHandler::DBHandler(BDBReqHandler* handler, BDBIOWorker* worker) : handler_(handler), worker_(worker) {}

void DBHandler::run()
{
    int rc = -1;
    try {
        rc = handler_->handle();
        if (rc == 0)
            rc = worker_->postWrite(handler_); // on success the handler belongs to the next event's thread
    } catch (const std::bad_alloc&) {
        // A request that is too large for memory ends only its own connection.
        rc = -1;
    }
    if (rc != 0)
        (void)worker_->closeConnection(handler_); // it cannot fail
}
