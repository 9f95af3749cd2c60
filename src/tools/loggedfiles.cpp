#include "tools/loggedfiles.h"

#include <utility>

namespace Ctl {

void LoggedFiles::take(std::string_view record)
{
    const std::uint32_t transaction = LogRecords::transactionOf(record);
    if (LogRecords::beginsTransaction(record)) // the number may have been used by one that a crash has undone
        pending_.erase(transaction);
    if (LogRecords::commitTime(record)) {
        for (const Event& event : takeEvents(transaction))
            apply(event);
    }
    if (const auto child = LogRecords::committedChild(record)) { // it counts when its parent commits
        Events events = takeEvents(*child);
        Events& own = pending_[transaction];
        own.insert(own.end(), std::make_move_iterator(events.begin()), std::make_move_iterator(events.end()));
    }
    if (const auto event = LogRecords::fileEvent(record)) {
        const Event own{event->kind, std::string(event->name)};
        if (event->transaction == 0)
            apply(own);
        else
            pending_[event->transaction].push_back(own);
    }
}

void LoggedFiles::apply(const Event& event)
{
    if (event.kind == LogRecords::FileEvent::Removed)
        names_.erase(event.name);
    else
        names_.insert(event.name);
}

LoggedFiles::Events LoggedFiles::takeEvents(std::uint32_t transaction)
{
    auto node = pending_.extract(transaction);
    return node ? std::move(node.mapped()) : Events();
}

} // namespace Ctl
