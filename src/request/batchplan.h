#ifndef QUORVA_REQUEST_BATCHPLAN_H
#define QUORVA_REQUEST_BATCHPLAN_H

#include <QByteArray>
#include <QVariantMap>

#include <functional>
#include <optional>
#include <vector>

class BDBIndex;
class TableContext;

namespace Requests {

/** A write that is ready for the transaction. */
struct BatchWrite {
    QByteArray tableName;
    BDBIndex* db; // owned by the environment
    QByteArray key;
    std::optional<QByteArray> item; // its JSON; unset: the record is deleted
};

/** The writes of a batch, and where the iteration over its tables ends if all of them succeed. */
struct BatchPlan {
    std::vector<BatchWrite> writes;
    QByteArray lastTable;         // the last TableName that is examined
    QVariantMap foreign;          // from the first table of another environment on
    int failure = 0;              // the error that ends the iteration early, after the writes
    std::function<void()> report; // logs that error; not called by an attempt whose writes fail
};

/**
 * Plans the tables in order, up to the first failure or the first table outside of the batch's environment,
 * `batchPath`. Reads their schemas and opens their databases. Returns the failure, or StatusTakesLong.
 * Kept: directories are compared as spelled.
 */
[[nodiscard]] int planBatch(TableContext& context, const QVariantMap& tables, const QByteArray& batchPath,
                            BatchPlan* plan);

} // namespace Requests

#endif
