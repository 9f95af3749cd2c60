#include "request/failedrequests.h"

#include "records/requeststatus.h"
#include "request/latest.h"

#include <utility>

namespace {

Latest<FailedRequest, FailedRequests::Kept> latestOfAll;

} // namespace

bool FailedRequests::isReported(int result)
{
    const int answered = answeredStatus(result);
    return answered == StatusInternalError || answered == StatusNotFound;
}

void FailedRequests::report(FailedRequest request)
{
    latestOfAll.add(std::move(request));
}

std::vector<FailedRequest> FailedRequests::latest()
{
    return latestOfAll.reports();
}

std::uint64_t FailedRequests::count()
{
    return latestOfAll.count();
}
