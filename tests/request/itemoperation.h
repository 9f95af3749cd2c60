#ifndef QUORVA_TESTS_REQUEST_ITEMOPERATION_H
#define QUORVA_TESTS_REQUEST_ITEMOPERATION_H

#include "support/tablefixture.h"

/** A server with a table, for operations on a single item. */
class ItemOperation : public TableTest {
protected:
    void SetUp() override
    {
        TableTest::SetUp();
        createTable(tableName());
    }

    /** The reply to a write that returns attributes. */
    static QVariantMap answer(const QVariantMap& attributes) { return okReply({{"Attributes", attributes}}); }
    /** The reply to a GetItem. */
    static QVariantMap found(const QVariantMap& attributes) { return okReply({{"Item", attributes}}); }
};

#endif
