#ifndef QUORVA_TESTS_REQUEST_QUERYFIXTURE_H
#define QUORVA_TESTS_REQUEST_QUERYFIXTURE_H

#include "scanqueryfixture.h"

class QueryTest : public ScanQueryTest {
protected:
    static QVariantMap item(const QString& range) { return itemOf("q", range, {{"v", textValue("of " + range)}}); }
    static QVariantList items(const QStringList& ranges)
    {
        QVariantList list;
        for (const QString& range : ranges)
            list.append(item(range));
        return list;
    }

    void putRanges(const QStringList& ranges) { putItems(items(ranges)); }

    /** A query of the hash key "q". */
    QVariantMap queryQ(const QVariantMap& fields = {})
    {
        return query(merged({{"HashKeyValue", textValue("q")}}, fields));
    }

    static QVariantMap rangeCondition(const QString& name, const QStringList& values)
    {
        return {{"RangeKeyCondition", condition(name, values)}};
    }

    const int partition_ = partitionOfHash("q");
    const QVariantMap failed_{{"Count", 0}, {"Items", QVariantList()}};
};

#endif
