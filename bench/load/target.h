#ifndef QUORVA_BENCH_LOAD_TARGET_H
#define QUORVA_BENCH_LOAD_TARGET_H

#include "common/workload.h"

#include "client/wireconnection.h"
#include "protocol/endpoint.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <vector>

namespace Bench {

/** A table of a running server. Functions that return false set `error`. */
struct Target {
    int port = Endpoint::DefaultPort;
    QByteArray tableName;

    [[nodiscard]] bool connect(Client::WireConnection* connection, QString* error) const;

    /** Opens this many connections, waits for a reply on each, so that the server knows it, and leaves them idle. */
    [[nodiscard]] bool connectIdle(unsigned count, std::vector<Client::WireConnection>* connections,
                                   QString* error) const;

    /** Creates the table, puts all items of the workload, in batches over this many connections at once, and counts
     * them.
     */
    [[nodiscard]] bool load(const Workload& workload, unsigned clients, QString* error) const;

    /**
     * Reads a few items and one page of a query and of a scan, updates an item and puts it back, and compares every
     * reply in full with what the workload says.
     */
    [[nodiscard]] bool check(const Workload& workload, QString* error) const;
};

} // namespace Bench

#endif
