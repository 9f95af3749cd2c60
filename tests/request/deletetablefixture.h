#ifndef QUORVA_TESTS_REQUEST_DELETETABLEFIXTURE_H
#define QUORVA_TESTS_REQUEST_DELETETABLEFIXTURE_H

#include "base/directorylock.h"
#include "protocol/framing.h"
#include "protocol/operations.h"
#include "support/tablefixture.h"

class DeleteTable : public TableTest {
protected:
    QVariantMap deleteTable(const QString& name) { return request("DeleteTable", {{"TableName", name}}); }
};

#endif
