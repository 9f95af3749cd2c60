#include "tools/slowrequesttext.h"

#include "tools/textcolumns.h"
#include "tools/units.h"

#include <cmath>

namespace SlowRequestText {

namespace {

using Ctl::shown;
using Ctl::TextColumns;

std::string milliseconds(double time)
{
    return std::to_string(std::llround(time)) + " ms";
}

} // namespace

std::vector<std::string> lines(const Client::ServerStatus& status,
                               const std::vector<Client::ServerStatus::SlowRequest>& requests)
{
    if (requests.empty() && status.slowMilliseconds == 0)
        return {"slow requests are not noted; QUORVA_SLOW_MS=100 in the server's environment notes those above 100 ms"};
    if (requests.empty())
        return {"no request has taken longer than " + std::to_string(status.slowMilliseconds) + " ms"};
    constexpr auto Right = TextColumns::Align::Right;
    TextColumns columns({{"SLOW REQUEST"},
                         {"TOTAL", Right},
                         {"QUEUE", Right},
                         {"LOCKS", Right},
                         {"DISK", Right},
                         {"FLUSH", Right},
                         {"ITEMS", Right},
                         {"RETRIES", Right},
                         {"OPERATION"},
                         {"TABLE"},
                         {"KEYS"},
                         {"PEER"}});
    for (const auto& request : requests)
        columns.add({Units::date(request.time), milliseconds(request.milliseconds),
                     milliseconds(request.queueMilliseconds), milliseconds(request.lockMilliseconds),
                     milliseconds(request.diskMilliseconds), milliseconds(request.flushMilliseconds),
                     std::to_string(request.items), std::to_string(request.retries), shown(request.operation),
                     shown(request.table), shown(request.keys), shown(request.peer)});
    return columns.lines();
}

} // namespace SlowRequestText
