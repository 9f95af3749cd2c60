#ifndef QUORVA_BENCH_LIMITS_DIRECTWORKER_H
#define QUORVA_BENCH_LIMITS_DIRECTWORKER_H

#include "common/workload.h"

#include <QByteArray>

#include <db_cxx.h>

#include <cstdint>
#include <vector>

class BDBCursor;
class BDBIndex;
class BDBTxn;

namespace Bench {

class DirectTable;

/** Runs operations on a table, each in a transaction that is restarted after a deadlock. For one thread. */
class DirectWorker {
public:
    DirectWorker(const DirectTable& table, Operation operation, const Workload& workload, std::uint64_t seed);

    /** One operation on random items. 0, or Berkeley DB's code; DB_NOTFOUND if an item was missing. */
    [[nodiscard]] int run();

    /** Whether the last one was a write. */
    bool hasWritten() const { return hasWritten_; }

private:
    int put(unsigned item);
    int get(unsigned item);
    int update(unsigned item);
    int query(unsigned first);
    int scan(unsigned start);
    int batch(unsigned first);

    int putIn(BDBTxn* txn, unsigned item);
    int getIn(BDBTxn* txn, unsigned item, u_int32_t flags);
    int walk(BDBIndex* db, const QByteArray& startKey, unsigned limit, unsigned* count);
    int walkOn(BDBCursor& cursor, const QByteArray& startKey, unsigned limit, unsigned* count);
    template <typename Work> int inTransaction(Work&& work);

    const DirectTable& table_;
    const Operation operation_;
    const Workload workload_;
    QByteArray value_; // the items' text
    Random random_;
    bool hasWritten_ = false;
    std::vector<char> keyMemory_;
    std::vector<char> dataMemory_;
};

} // namespace Bench

#endif
