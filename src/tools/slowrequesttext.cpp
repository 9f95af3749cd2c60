#include "tools/slowrequesttext.h"

#include "tools/terminaltext.h"
#include "tools/textcolumns.h"
#include "tools/units.h"

#include <cmath>

namespace SlowRequestText {

namespace {

using Ctl::TextColumns;
using TerminalText::printable;

std::string milliseconds(double time)
{
    return std::to_string(std::llround(time)) + " ms";
}

} // namespace

std::vector<std::string> lines(const Client::ServerStatus& status,
                               const std::vector<Client::ServerStatus::SlowRequest>& requests, int width)
{
    if (requests.empty() && status.slowMilliseconds == 0)
        return {"slow requests are not recorded; QUORVA_SLOW_MS=100 in the server's environment records those above "
                "100 ms"};
    if (requests.empty())
        return {"no request has taken longer than " + std::to_string(status.slowMilliseconds) + " ms"};
    constexpr auto Left = TextColumns::Align::Left;
    constexpr auto Right = TextColumns::Align::Right;
    TextColumns columns({{"SLOW REQUEST"},
                         {"TOTAL", Right},
                         {"QUEUE", Right, 5},
                         {"LOCKS", Right, 2},
                         {"DISK", Right, 3},
                         {"FLUSH", Right, 4},
                         {"ITEMS", Right, 6},
                         {"RETRIES", Right, 8},
                         {"OPERATION"},
                         {"TABLE"},
                         {"KEYS", Left, 1},
                         {"PEER", Left, 7}});
    for (const auto& request : requests)
        columns.add({Units::date(request.time), milliseconds(request.milliseconds),
                     milliseconds(request.queueMilliseconds), milliseconds(request.lockMilliseconds),
                     milliseconds(request.diskMilliseconds), milliseconds(request.flushMilliseconds),
                     std::to_string(request.items), std::to_string(request.retries), printable(request.operation),
                     printable(request.table), printable(request.keys), printable(request.peer)});
    return columns.lines(width);
}

} // namespace SlowRequestText
