#ifndef QUORVA_TESTS_REQUEST_SCANFIXTURE_H
#define QUORVA_TESTS_REQUEST_SCANFIXTURE_H

#include "scanqueryfixture.h"

/**
 * Most tests put their items into the last partition and start their scans there, with a start key that precedes all
 * items: such a scan looks at one partition.
 */
class ScanTest : public ScanQueryTest {
protected:
    /** Items of the last partition, in the order in which a scan meets them. */
    QVariantList lastItems(int count, const QVariantMap& attributes = {}) const
    {
        QVariantList items;
        for (int n = 0; n < count; ++n)
            items.append(itemOf(hash_, QString("r%1").arg(n, 3, 10, QChar('0')), attributes));
        return items;
    }

    QVariantMap scanLast(const QVariantMap& fields = {}) { return scan(merged(atLast_, fields)); }

    const QString hash_ = hashIn(255);
    const QVariantMap atLast_{{"ExclusiveStartKey", itemKey(hash_, "")}};
};

#endif
