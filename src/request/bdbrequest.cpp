#include "request/bdbrequest.h"

using namespace Qt::StringLiterals;

QByteArray BDBRequest::tableName() const
{
    return parsedBody.value(u"TableName"_s).toString().toUtf8();
}

void BDBRequest::reset()
{
    status = StatusSuccess;
    operation.resize(0);
    operationNumber = NotIdentified;
    body = QByteArray();
    parsedBody = QVariantMap();
    reply = QVariantMap();
    message = QString();
    failedReply = QVariantMap();
    table.reset();
    environment.reset();
}
