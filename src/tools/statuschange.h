#ifndef QUORVA_TOOLS_STATUSCHANGE_H
#define QUORVA_TOOLS_STATUSCHANGE_H

#include "client/serverstatus.h"

#include <vector>

namespace Ctl {

/** What a server has done between two of its statuses, according to their counts. */
struct StatusChange : Client::ServerCounts {
    double seconds = 0; // between the two
    bool isSinceStart = false;

    /** The requests with one operation, whatever their outcome. */
    struct Operation {
        QString name;
        qint64 total = 0; // since the server's start
        qint64 count = 0; // in these seconds, like all that follows
        qint64 failed = 0;
        Client::Latencies latencies;
    };
    std::vector<Operation> operations; // in the server's order

    qint64 requests = 0;
    qint64 failed = 0;

    struct Environment : Client::EnvironmentCounts {
        qint64 logBytes = 0; // on disk; negative when files have been removed
    };
    std::vector<Environment> environments; // for each of the later status, in its order

    /**
     * From `before` to `now`. Without `before`, or when that was of another process, since the start of the server. An
     * environment that was not open before, or has been opened again, counts from when it was opened.
     */
    static StatusChange between(const Client::ServerStatus* before, const Client::ServerStatus& now);
};

} // namespace Ctl

#endif
