#ifndef QUORVA_TOOLS_LOGGEDFILES_H
#define QUORVA_TOOLS_LOGGEDFILES_H

#include "format/logrecords.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace Ctl {

/**
 * Which database files exist according to a log, which is read from its beginning: those that it records as opened or
 * created, and not as removed. A transaction's events count once it commits.
 */
class LoggedFiles {
public:
    /** Takes the next record of the log, without its header. */
    void take(std::string_view record);

    /** Those that exist after the last record. */
    const std::set<std::string>& names() const { return names_; }

private:
    struct Event {
        LogRecords::FileEvent::Kind kind;
        std::string name;
    };
    using Events = std::vector<Event>;

    void apply(const Event& event);
    Events takeEvents(std::uint32_t transaction);

    std::set<std::string> names_;
    std::map<std::uint32_t, Events> pending_; // by the transactions that have to commit
};

} // namespace Ctl

#endif
