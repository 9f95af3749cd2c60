#include "net/requestreports.h"

#include "net/peername.h"
#include "request/bdbrequest.h"
#include "request/dispatch.h"
#include "request/failedrequests.h"
#include "request/replyenvelope.h"
#include "request/requestsubject.h"
#include "request/slowrequests.h"

#include <utility>

void Net::reportSlow(const BDBRequest& request, std::chrono::nanoseconds total, std::chrono::nanoseconds afterwards,
                     int socket)
{
    const RequestTrace& trace = *request.trace;
    SlowRequest slow;
    slow.time = std::chrono::system_clock::now();
    slow.operation = Requests::operationName(request.operationNumber);
    slow.outcome = ReplyEnvelope::outcomeName(request.status);
    slow.table = SlowRequests::tableText(trace.table);
    if (trace.hasKeys)
        slow.keys = SlowRequests::keysText(trace.hashKey, trace.rangeKey);
    slow.total = total;
    slow.queued = trace.queued;
    slow.locks = trace.waits.locks;
    slow.disk = trace.waits.disk;
    slow.flush = afterwards;
    slow.items = trace.items;
    slow.retries = trace.waits.retries;
    slow.peer = QString::fromStdString(peerName(socket));
    SlowRequests::report(slow);
}

void Net::reportFailure(const BDBRequest& request, const RequestSubject& subject, int socket)
{
    FailedRequest failed;
    failed.time = std::chrono::system_clock::now();
    failed.operation = Requests::operationName(request.operationNumber);
    failed.outcome = ReplyEnvelope::outcomeName(request.status);
    failed.result = request.status;
    failed.table = subject.table;
    failed.keys = subject.keys;
    failed.peer = QString::fromStdString(peerName(socket));
    FailedRequests::report(std::move(failed));
}
