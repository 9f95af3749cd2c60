#include "request/bdbrequest.h"

using namespace Qt::StringLiterals;

QByteArray BDBRequest::tableName() const
{
    QByteArrayView plain;
    if (Json::isPlainString(parsedBody.textOf("TableName"_L1), &plain))
        return plain.toByteArray();
    return parsedBody.value("TableName"_L1).toString().toUtf8();
}

void BDBRequest::reset()
{
    status = StatusSuccess;
    operation.resize(0);
    operationNumber = NotIdentified;
    body = QByteArray();
    parsedBody.clear();
    reply = QVariantMap();
    message = QString();
    failedReply = QVariantMap();
    table.reset();
    environment.reset();
    trace.reset();
}
