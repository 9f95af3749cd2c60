#include "request/status.h"

#include "records/requeststatus.h"
#include "request/bdbrequest.h"
#include "request/failedrequests.h"
#include "request/serverview.h"
#include "request/slowrequests.h"
#include "request/statusparts.h"

using namespace Qt::StringLiterals;

int Requests::status(BDBRequest& request)
{
    QVariantMap& reply = request.reply;
    if (request.server != nullptr)
        request.server->describe(&reply);
    reply.insert(u"Process"_s, StatusParts::process());
    reply.insert(u"Bytes"_s, StatusParts::bytes());
    reply.insert(u"LatencyBounds"_s, StatusParts::latencyBounds());
    reply.insert(u"Requests"_s, StatusParts::requests());
    reply.insert(u"SlowRequests"_s, StatusParts::slowRequests());
    reply.insert(u"SlowRequestCount"_s, QVariant::fromValue(qulonglong{SlowRequests::count()}));
    reply.insert(u"FailedRequests"_s, StatusParts::failedRequests());
    reply.insert(u"FailedRequestCount"_s, QVariant::fromValue(qulonglong{FailedRequests::count()}));
    reply.insert(u"Environments"_s, StatusParts::environments(request.table.registry()));
    return StatusSuccess;
}
