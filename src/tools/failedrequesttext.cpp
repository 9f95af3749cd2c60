#include "tools/failedrequesttext.h"

#include "tools/terminaltext.h"
#include "tools/textcolumns.h"
#include "tools/units.h"

namespace FailedRequestText {

namespace {

std::string shownText(const QString& text)
{
    return TerminalText::escaped(text).toStdString();
}

} // namespace

std::vector<std::string> lines(const Client::ServerStatus& status)
{
    if (status.failedRequests.empty())
        return {"no request has failed"};
    Ctl::TextColumns columns({{"FAILED REQUEST"},
                              {"OPERATION"},
                              {"OUTCOME"},
                              {"RESULT", Ctl::TextColumns::Align::Right},
                              {"TABLE"},
                              {"KEYS"},
                              {"PEER"}});
    for (const auto& request : status.failedRequests)
        columns.add({Units::date(request.time), shownText(request.operation), shownText(request.outcome),
                     std::to_string(request.result), shownText(request.table), shownText(request.keys),
                     shownText(request.peer)});
    std::vector<std::string> lines = columns.lines();
    const qint64 before = status.failedRequestCount - static_cast<qint64>(status.failedRequests.size());
    if (before > 0)
        lines.push_back("and " + std::to_string(before) + " before them");
    return lines;
}

} // namespace FailedRequestText
