#ifndef QUORVA_BENCH_LOAD_CHECKER_H
#define QUORVA_BENCH_LOAD_CHECKER_H

#include "common/workload.h"

#include "client/wireconnection.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

namespace Bench {

/** Sends a framed request and parses its reply. False with a text in `error` if that is not a success. */
[[nodiscard]] bool exchangeWell(Client::WireConnection& connection, const QByteArray& request, QVariantMap* reply,
                                QString* error);

/** Compares a server's replies completely with the expected ones. For one thread. */
class Checker {
public:
    /** Nothing is owned; everything must outlive the checker. */
    Checker(Client::WireConnection& connection, const QByteArray& tableName, const Workload& workload, QString* error);

    /** Updates an item and puts it back, and reads some items, two hash keys and a page. False at the first difference.
     */
    [[nodiscard]] bool run();

private:
    bool send(Operation operation, unsigned item, QVariantMap* reply);
    bool expect(const char* what, const QVariant& found, const QVariant& wanted);
    bool checkUpdate(unsigned item);
    bool checkGet(unsigned item);
    bool checkQuery(unsigned first);
    bool checkScan(unsigned first);
    bool checkWalked(const char* what, QVariantMap found, unsigned number);

    Client::WireConnection& connection_;
    const QByteArray& tableName_;
    const Workload& workload_;
    QString* const error_;
};

} // namespace Bench

#endif
