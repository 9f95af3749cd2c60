#ifndef QUORVA_TESTS_REQUEST_BATCHWRITEITEMFIXTURE_H
#define QUORVA_TESTS_REQUEST_BATCHWRITEITEMFIXTURE_H

#include "scanqueryfixture.h"

class BatchWriteItemTest : public ScanQueryTest {
protected:
    QVariantMap batchOf(const QVariantMap& tables) { return request("BatchWriteItem", {{"RequestItems", tables}}); }

    /** All items of a hash key of a table. */
    QVariantList stored(const QString& hash, const QString& table = "t")
    {
        return request("Query", {{"TableName", tableName(table)}, {"HashKeyValue", textValue(hash)}})
            .value("Items")
            .toList();
    }

    /** The reply when nothing of a batch was written: the status, and the whole batch returned as unprocessed. */
    static QVariantMap allBack(QVariantMap reply, const QVariantMap& tables)
    {
        reply.insert("UnprocessedItems", tables);
        return reply;
    }
};

#endif
