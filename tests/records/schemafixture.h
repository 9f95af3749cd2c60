#ifndef QUORVA_TESTS_RECORDS_SCHEMAFIXTURE_H
#define QUORVA_TESTS_RECORDS_SCHEMAFIXTURE_H

#include "items.h"
#include "rawrecords.h"
#include "recordlines.h"
#include "records/encoding.h"
#include "records/recordops.h"
#include "records/requeststatus.h"
#include "records/schema.h"
#include "support/tableenv.h"

#include <gtest/gtest.h>

class LoadSchema : public testing::Test {
protected:
    static inline const QByteArray GoodSchema = R"({"HashKeyElement":{"AttributeName":"id","AttributeType":"S"},)"
                                                R"("RangeKeyElement":{"AttributeName":"when","AttributeType":"S"}})";

    /** Stores a table description with this key schema. Returns its stored text. */
    QByteArray store(const QByteArray& keySchema)
    {
        const QByteArray text = R"({"CreationDateTime":123456,"KeySchema":)" + keySchema + R"(,"TableName":"t"})";
        storeText(text);
        return text;
    }

    void storeText(const QByteArray& text) { rawPut(tables_.index("t", "meta"), "0011tableschema", text); }

    int load(bool rawOnly = false)
    {
        return Records::loadSchema(context(), tables_.tableName(), &description_, rawOnly);
    }

    TableContext& context() { return tables_.context(); }
    const QVariantMap& hashElement() { return context().keySchema()->hash; }
    const QVariantMap& rangeElement() { return context().keySchema()->range; }

    TableEnv tables_;
    QVariantMap description_;
};

#endif
