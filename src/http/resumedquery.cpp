#include "http/resumedquery.h"

#include "client/paging.h"

#include <QString>

using namespace Qt::StringLiterals;

namespace Http {

bool makeResumable(QVariantMap* body)
{
    const QVariantMap condition = body->value(u"RangeKeyCondition"_s).toMap();
    const QVariantList values = condition.value(u"AttributeValueList"_s).toList();
    const QVariantMap prefix = values.value(0).toMap();
    if (!body->contains(u"ExclusiveStartKey"_s) || condition.value(u"ComparisonOperator"_s) != u"BEGINS_WITH"_s ||
        prefix.value(u"S"_s).typeId() != QMetaType::QString)
        return false;
    body->insert(u"RangeKeyCondition"_s, Client::keysWithPrefix(prefix.value(u"S"_s).toString(), false));
    return true;
}

} // namespace Http
